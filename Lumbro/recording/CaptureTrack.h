#pragma once

#include "platform/AudioSource.h"
#include "recording/TrackClock.h"
#include "recording/audio/TrackPipeline.h"
#include "recording/transcription/TranscriptionSession.h"

#include <QString>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

namespace lumbro {

/// One speaker's way from the source to the file and the transcriber. Made and closed on the main thread;
/// takes audio on the source's.
class CaptureTrack {
  public:
    /// How a track is kept true to the time; none for a track whose time is its own audio.
    struct Pace {
        std::shared_ptr<TrackTimeline> timeline;
        TrackClock::Monotonic monotonic;
    };

    /// Makes the file. `transcriber` may be none.
    CaptureTrack(const QString& file, std::shared_ptr<TranscriptionSession> transcriber,
                 std::optional<Pace> pace, TrackPipeline::OnWriteFailed onWriteFailed);
    CaptureTrack(const CaptureTrack&) = delete;
    CaptureTrack& operator=(const CaptureTrack&) = delete;
    ~CaptureTrack() = default;

    void ingest(const AudioBuffer& buffer);
    /// The source has stopped: what is held back is handed on and the file is complete. Twice does no harm.
    void close();
    /// The transcriber is fed no more.
    void dropTranscriber();

    /// The latest level, 0 to 1.
    float level() const { return m_level; }
    bool receivedAudio() const { return m_pipeline.receivedAudio(); }
    /// Seconds in the track. Any thread.
    double seconds() const { return m_pipeline.secondsIngested(); }
    /// Seconds that wait for the recogniser. Any thread.
    double backlog() const;

  private:
    void feed(std::span<const float> samples, float level);

    mutable std::mutex m_transcriberLock;
    std::shared_ptr<TranscriptionSession> m_transcriber;
    std::atomic<float> m_level = 0;
    TrackPipeline m_pipeline;
    std::unique_ptr<TrackClock> m_clock;
};

}  // namespace lumbro
