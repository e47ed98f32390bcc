#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QString>

#include <functional>
#include <span>

namespace lumbro {

/// Format of a buffer: interleaved 32-bit float samples.
struct AudioFormat {
    int rate = 0;
    int channels = 0;

    bool operator==(const AudioFormat&) const = default;
};

/// A borrowed piece of audio, valid only during the call that hands it over.
struct AudioBuffer {
    AudioFormat format;
    /// frames × channels samples, nominally -1 to 1.
    std::span<const float> samples;

    size_t frames() const {
        return format.channels > 0 ? samples.size() / static_cast<size_t>(format.channels) : 0;
    }
};

/// A stream of audio buffers from a microphone, the system's output or a file. One `start` and one `stop`.
class AudioSource {
  public:
    /// Called on the source's audio thread, never at the same time from two threads. The format may change
    /// between calls.
    using Consumer = std::function<void(const AudioBuffer&)>;

    AudioSource() = default;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;
    virtual ~AudioSource() = default;

    /// Begins to deliver buffers. Main thread.
    virtual Task<Result<>> start(Consumer onBuffer) = 0;
    /// Ends the delivery: no call of the consumer begins after it returns. Main thread; may be called twice.
    virtual void stop() = 0;
};

}  // namespace lumbro
