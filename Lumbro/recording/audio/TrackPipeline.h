#pragma once

#include "platform/AudioSource.h"

#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace lumbro {

class CafWriter;
class MonoResampler;

/// One track of a recording: turns the buffers of a source, whatever their format, into 16 kHz mono, appends
/// them to the track's file and hands them on with their level. A file that cannot be opened or written
/// leaves the rest working.
class TrackPipeline {
  public:
    static constexpr int sampleRate = 16000;

    /// Takes mono samples at `sampleRate` and their level. On the source's audio thread, under the lock.
    using Feed = std::function<void(std::span<const float> mono16k, float level)>;
    /// Takes the level of a buffer. On the source's audio thread, under the lock.
    using OnLevel = std::function<void(float level)>;
    /// Called once, on the thread that failed, with a sentence: the file could not be made or no longer be
    /// written. What was written before stays whole.
    using OnWriteFailed = std::function<void(const QString& sentence)>;

    /// Makes the file, replacing an old one; mode 0600. Empty callbacks are not called.
    TrackPipeline(const QString& file, Feed feed, OnLevel onLevel, OnWriteFailed onWriteFailed = {});
    ~TrackPipeline();
    TrackPipeline(const TrackPipeline&) = delete;
    TrackPipeline& operator=(const TrackPipeline&) = delete;

    /// Takes a buffer. On the audio thread of the source. Nothing after `close`.
    void ingest(const AudioBuffer& buffer);
    /// Takes what the resampler holds back and completes the file; no callback begins after it. Any thread;
    /// may be called twice.
    void close();

    /// At least one buffer came through conversion. Any thread.
    bool receivedAudio() const;
    /// Seconds of audio that came out so far. Any thread.
    double secondsIngested() const;

    /// Loudness from 0 (-55 dBFS and below) to 1 (-10 dBFS and above).
    static float level(std::span<const float> samples);

  private:
    void deliver(std::span<const float> work);
    void reportWriteFailure();

    Feed m_feed;
    OnLevel m_onLevel;
    OnWriteFailed m_onWriteFailed;
    QString m_path;

    mutable std::mutex m_lock;
    std::unique_ptr<CafWriter> m_file;
    std::unique_ptr<MonoResampler> m_toWork;
    qint64 m_framesOut = 0;
    bool m_closed = false;
    bool m_receivedAudio = false;
    bool m_writeFailureReported = false;
};

}  // namespace lumbro
