#pragma once

#include "LumbroCore/Clock.h"
#include "platform/AudioSource.h"
#include "recording/audio/MediaEnd.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// What is known of an audio file before it is played.
struct AudioFileInfo {
    AudioFormat format;
    /// Seconds; 0 when the file does not say.
    double duration = 0;

    bool operator==(const AudioFileInfo&) const = default;
};

/// How a file is played.
struct FilePlayback {
    /// Delivers as time goes by on the clock; else as fast as `mayFeed` allows.
    bool realTime = true;
    /// Only this channel, counted from 0; all of them when absent.
    std::optional<int> channel;
    /// Asked before each buffer on the source's audio thread, again and again while it says no. Absent means
    /// always yes. Not used in real time.
    std::function<bool()> mayFeed;
    /// Called once on the main thread when everything has been delivered. Not called after `stop`.
    std::function<void()> onEnd;
};

/// Plays an audio or video file (WAV, M4A, MP3, Ogg, FLAC, Matroska, MP4 …) as if it were heard now.
class FileAudioSource final : public AudioSource {
  public:
    /// The clock must outlive the source.
    FileAudioSource(Clock& clock, QString file, FilePlayback playback);
    ~FileAudioSource() override;

    /// Reads the head of a file. Blocks while it reads. Fails with a sentence when there is no such file, or
    /// nothing to hear in it.
    static Result<AudioFileInfo> probe(const QString& file);

    /// Fails as `probe` does, and when the file has no such channel. A file that is broken further on
    /// gives what can be read.
    Task<Result<>> start(Consumer onBuffer) override;
    void stop() override;

    /// The path that was given.
    const QString& file() const;
    /// Seconds, once `start` has succeeded; 0 when the file does not say.
    double duration() const;
    /// Seconds delivered so far. Any thread.
    double position() const;
    /// Known at the file's end, before `onEnd`; until then `whole`.
    MediaEnd end() const;

  private:
    class Worker;
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
