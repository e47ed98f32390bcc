#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

namespace lumbro::speech {

/// What a whisper model file says about itself.
struct WhisperFileInfo {
    bool isMultilingual = false;
    /// Number of tensors with weights; a file of none loads and never gives a word.
    int tensors = 0;

    bool operator==(const WhisperFileInfo&) const = default;
};

/// Reads the whole structure of a model file (not its weights), so that nothing broken, truncated or foreign
/// ever reaches the library, which trusts its files. Any thread; reads only headers.
Result<WhisperFileInfo> readWhisperFile(const QString& path);

/// Whether the file begins like a Silero voice detector model.
bool isVoiceModelFile(const QString& path);

}  // namespace lumbro::speech
