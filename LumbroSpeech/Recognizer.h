#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <utility>

namespace lumbro::speech {

/// The one format that recognisers take: mono 32-bit float at this rate.
inline constexpr int sampleRate = 16000;

/// Words heard. A volatile result is a guess that the next result of its stream replaces.
struct RecognitionResult {
    QString text;
    /// Seconds from the stream's first sample to where the words begin; may be not finite when unknown.
    double start = 0;
    bool isFinal = false;

    bool operator==(const RecognitionResult&) const = default;
};

/// One stream of audio through a recogniser. Destroying it is the abrupt end: no callback comes after it.
class RecognitionStream {
  public:
    RecognitionStream() = default;
    RecognitionStream(const RecognitionStream&) = delete;
    RecognitionStream& operator=(const RecognitionStream&) = delete;
    virtual ~RecognitionStream() = default;

    /// Queues samples of `sampleRate`. Any thread; never blocks on recognition.
    virtual void feed(std::span<const float> samples) = 0;
    /// No more audio comes; what is queued is recognised, its finals are delivered, then the stream ends.
    virtual void finish() = 0;
    /// Seconds of audio that are queued and not yet looked at. Any thread.
    virtual double backlog() const = 0;
    /// Seconds of audio that no result covers yet: `backlog`, and what has been looked at since the last
    /// result of an utterance that is still open. Any thread.
    virtual double unheard() const { return backlog(); }
    /// Grows while the recogniser works, on this stream or another one of its. Any thread.
    virtual quint64 activity() const { return 0; }
};

/// What a stream reports, all on the main thread.
struct RecognitionEvents {
    std::function<void(const RecognitionResult&)> onResult;
    /// The stream is over: by itself, after `finish`, or with a failure. Called at most once, last.
    std::function<void(const Result<>&)> onEnd;
};

/// A stream that was opened. It wraps the pointer because the comparisons of an awaited Result of a bare
/// pointer are ambiguous.
class OpenedStream {
  public:
    OpenedStream() = default;
    explicit OpenedStream(std::shared_ptr<RecognitionStream> opened) : stream(std::move(opened)) {}

    /// Never null in a result that holds a value.
    std::shared_ptr<RecognitionStream> stream;
};

/// How long a model stays loaded after its last stream has gone.
inline constexpr std::chrono::milliseconds modelKept = std::chrono::seconds(60);

/// A speech recogniser on one model, which is in memory only while there is use for it.
class Recognizer {
  public:
    Recognizer() = default;
    Recognizer(const Recognizer&) = delete;
    Recognizer& operator=(const Recognizer&) = delete;
    virtual ~Recognizer() = default;

    /// Opens a stream. Main thread; takes as long as it takes to load the model when it is not loaded.
    virtual Task<Result<OpenedStream>> open(RecognitionEvents events) = 0;
    /// Loads what `streams` streams need, so that `open` is quick. Main thread; returns when it is done.
    virtual Task<Result<>> warm(int streams = 2) { co_return Result<>(); }
    /// Has the model's files read ahead, so that loading them later is quick. Main thread; returns at once.
    virtual void readAhead() {}
};

}  // namespace lumbro::speech
