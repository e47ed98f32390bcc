#pragma once

#include "platform/AudioSource.h"

#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lumbro {

/// The zero of a recording's tracks: when the audio of the first one began. Any thread.
class TrackTimeline {
  public:
    /// Sets the zero when there is none yet, and gives it.
    double startAt(double begin);

  private:
    std::mutex m_lock;
    std::optional<double> m_zero;
};

/// Keeps a track's audio true to the time that passes. Stands between a source and what takes its buffers:
/// audio that begins later than the other track's, and the gap after a lost device, become silence of that
/// length, and a device that runs a little fast or slow is corrected frame by frame, so that a position in
/// the track stays within 100 ms of the time it was heard at.
///
/// A buffer tells only when it came, and it may come late without anything being lost. So after a delay the
/// audio is held for a moment: when it catches up, nothing was lost; when it does not, the delay was a gap.
class TrackClock {
  public:
    /// Time from any fixed moment, the same for all tracks; called on the audio thread.
    using Monotonic = std::function<std::chrono::nanoseconds()>;

    TrackClock(std::shared_ptr<TrackTimeline> timeline, Monotonic monotonic, AudioSource::Consumer next);

    /// Takes a buffer and hands on what is settled. On the audio thread.
    void ingest(const AudioBuffer& buffer);
    /// The source has stopped: hands on what is still held. Any thread; nothing may come after it.
    void finish();

  private:
    struct Held {
        AudioFormat format;
        std::vector<float> samples;
    };

    double lateness(double now, double duration) const;
    void hold(const AudioBuffer& buffer, double now, double duration);
    bool isSettled() const;
    void release();
    void pad(AudioFormat format, double seconds);
    void trimHeld(double seconds);
    void deliver(const AudioBuffer& buffer);
    void watchDrift(double late, double duration);
    void deliverCorrected(const AudioBuffer& buffer);

    std::shared_ptr<TrackTimeline> m_timeline;
    Monotonic m_monotonic;
    AudioSource::Consumer m_next;

    std::mutex m_lock;
    /// The track's zero on the monotonic clock, in seconds; none before the first release.
    std::optional<double> m_zero;
    /// Seconds handed on.
    double m_position = 0;

    bool m_isHolding = true;
    std::vector<Held> m_held;
    double m_heldSeconds = 0;
    /// When the held audio began: the earliest that any of its buffers allows.
    double m_heldBegin = std::numeric_limits<double>::infinity();
    /// Seconds of audio since `m_heldBegin` last fell, that is since the audio last caught up.
    double m_steadySeconds = 0;

    double m_windowSeconds = 0;
    double m_windowLateness = std::numeric_limits<double>::infinity();
    /// 1 to repeat frames now and then, -1 to leave some out.
    int m_correction = 0;
    double m_owedFrames = 0;
    std::vector<float> m_scratch;
};

}  // namespace lumbro
