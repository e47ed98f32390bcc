#pragma once

#include <QString>

namespace lumbro::speech {

/// Words of the embedded recogniser as a person reads them: without noise marks and the numbers of
/// pronunciations, with a capital at the beginning and for "I".
QString readableWords(const QString& hypothesis);

/// A transcript line without bracketed sound descriptions such as "[BLANK_AUDIO]" and with single blanks.
QString withoutSoundMarks(const QString& text);

}  // namespace lumbro::speech
