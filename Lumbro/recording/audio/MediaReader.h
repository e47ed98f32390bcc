#pragma once

#include "LumbroCore/Failure.h"
#include "platform/AudioSource.h"
#include "recording/audio/MediaEnd.h"

#include <QString>

#include <memory>
#include <optional>
#include <span>

namespace lumbro {

/// Decodes the sound of an audio or video file to interleaved floats. Blocks on the disk; not thread safe.
class MediaReader {
  public:
    MediaReader();
    ~MediaReader();
    MediaReader(const MediaReader&) = delete;
    MediaReader& operator=(const MediaReader&) = delete;

    /// Fails with a sentence when there is no such file, or nothing to hear in it.
    Result<> open(const QString& file);
    AudioFormat format() const;
    /// Seconds; 0 when the file does not say.
    double duration() const;
    /// Seconds decoded so far.
    double position() const;
    /// The next piece, valid until the next call; nothing at the end, or where nothing more can be read.
    std::optional<std::span<const float>> read();
    /// After the last piece.
    MediaEnd end() const;

  private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
