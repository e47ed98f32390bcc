#pragma once

#include <QString>

namespace lumbro {

/// The text as a reader sees it, for titles: one line without control and unseen characters, trimmed. What
/// joins letters or signs stays within. Empty where nothing can be seen. Takes any text.
QString visibleText(const QString& text);

}  // namespace lumbro
