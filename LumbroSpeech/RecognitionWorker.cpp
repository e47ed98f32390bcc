#include "LumbroSpeech/RecognitionWorker.h"

#include "LumbroSpeech/WorkerStream.h"

#include <QMetaObject>

#include <algorithm>
#include <coroutine>
#include <utility>

#include <malloc.h>

namespace lumbro::speech {

namespace {

/// The events of one stream; only ever touched on the main thread once the stream is open.
struct Listener {
    RecognitionEvents events;
    bool isListening = true;
};

class StreamHandle final : public RecognitionStream {
  public:
    StreamHandle(std::shared_ptr<WorkerStream> stream, std::shared_ptr<Listener> listener,
                 std::shared_ptr<RecognitionWorker> worker, std::function<void()> wake)
        : m_stream(std::move(stream)),
          m_listener(std::move(listener)),
          m_worker(std::move(worker)),
          m_wake(std::move(wake)) {}

    ~StreamHandle() override {
        m_listener->isListening = false;
        m_stream->abandon();
        m_wake();
    }

    void feed(std::span<const float> samples) override {
        m_stream->feed(samples);
        m_wake();
    }

    void finish() override {
        m_stream->finish();
        m_wake();
    }

    double backlog() const override { return m_stream->backlog(); }
    double unheard() const override { return m_stream->unheard(); }
    quint64 activity() const override { return m_worker->activity(); }

  private:
    std::shared_ptr<WorkerStream> m_stream;
    std::shared_ptr<Listener> m_listener;
    std::shared_ptr<RecognitionWorker> m_worker;
    std::function<void()> m_wake;
};

void tell(const Listener& listener, const RecognitionResult& result) {
    if (listener.isListening && listener.events.onResult) {
        // The callback may destroy the stream and with it the listener's events.
        const auto onResult = listener.events.onResult;
        onResult(result);
    }
}

void tellEnd(Listener& listener, const Result<>& outcome) {
    if (std::exchange(listener.isListening, false) && listener.events.onEnd) {
        const auto onEnd = listener.events.onEnd;
        onEnd(outcome);
    }
}

}  // namespace

RecognitionWorker::RecognitionWorker(std::function<void()> letGo, std::chrono::milliseconds idleTime)
    : m_letGo(std::move(letGo)), m_idleTime(idleTime), m_thread([this] { run(); }) {}

RecognitionWorker::~RecognitionWorker() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    wake();
    m_thread.join();
}

void RecognitionWorker::wake() {
    {
        const std::lock_guard lock(m_mutex);
        m_isWoken = true;
    }
    m_condition.notify_one();
}

void RecognitionWorker::post(std::function<void()> action) {
    {
        const std::lock_guard lock(m_mutex);
        m_actions.push_back(std::move(action));
    }
    wake();
}

struct RecognitionWorker::Call {
    RecognitionWorker& worker;
    std::function<Result<>()> work;
    Result<> result;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        worker.post([this, handle] {
            result = work();
            worker.toMainThread([handle] { handle.resume(); });
        });
    }
    Result<> await_resume() { return std::move(result); }
};

Task<Result<>> RecognitionWorker::call(std::function<Result<>()> work) {
    const auto keep = shared_from_this();
    co_return co_await Call{*keep, std::move(work), {}};
}

void RecognitionWorker::toMainThread(std::function<void()> action) {
    m_home.post(std::move(action));
}

std::shared_ptr<RecognitionStream> RecognitionWorker::openStream(std::unique_ptr<UtteranceCutter> cutter,
                                                                 std::unique_ptr<UtteranceDecoder> decoder,
                                                                 Recycle recycle, RecognitionEvents events) {
    auto listener = std::make_shared<Listener>(std::move(events));
    UtteranceDecoder& borrowed = *decoder;
    auto stream = std::make_shared<WorkerStream>(
        std::move(cutter), std::move(decoder),
        [this, listener](RecognitionResult result) {
            toMainThread([listener, result = std::move(result)] { tell(*listener, result); });
        },
        [this, listener](Result<> outcome) {
            toMainThread([listener, outcome = std::move(outcome)] { tellEnd(*listener, outcome); });
        });
    // The decoder is the stream's own: it never asks after the stream is gone.
    borrowed.shouldAbort = [this, owner = stream.get()] {
        // Who asks this is at work: one utterance may take a big model minutes.
        ++m_activity;
        return m_isEnding || owner->isAbandoned();
    };
    {
        const std::lock_guard lock(m_mutex);
        m_streams.push_back({stream, std::move(recycle)});
    }
    return std::make_shared<StreamHandle>(stream, std::move(listener), shared_from_this(),
                                          [this] { wake(); });
}

void RecognitionWorker::run() {
    bool isBusy = false;
    while (!m_isEnding) {
        waitForWork(isBusy);
        isBusy = runActions();
        const auto streams = currentStreams();
        isBusy = turn(streams) || isBusy;
        m_activity += isBusy ? 1 : 0;
        if (isBusy || !streams.empty()) {
            m_letGoAt = std::chrono::steady_clock::now() + m_idleTime;
        } else {
            letGoWhenIdle();
        }
    }
}

void RecognitionWorker::waitForWork(bool isBusy) {
    std::unique_lock lock(m_mutex);
    const auto isWanted = [&] { return isBusy || m_isWoken || m_isEnding; };
    if (m_letGoAt && m_letGo) {
        m_condition.wait_until(lock, *m_letGoAt, isWanted);
    } else {
        m_condition.wait(lock, isWanted);
    }
    m_isWoken = false;
}

void RecognitionWorker::letGoWhenIdle() {
    if (!m_letGo || !m_letGoAt || std::chrono::steady_clock::now() < *m_letGoAt) {
        return;
    }
    m_letGoAt.reset();
    m_letGo();
    // A model is many small blocks, which the heap would otherwise keep.
    ::malloc_trim(0);
}

bool RecognitionWorker::runActions() {
    std::deque<std::function<void()>> actions;
    {
        const std::lock_guard lock(m_mutex);
        actions.swap(m_actions);
    }
    for (const auto& action : actions) {
        action();
    }
    return !actions.empty();
}

std::vector<std::shared_ptr<WorkerStream>> RecognitionWorker::currentStreams() {
    std::vector<Entry> over;
    std::vector<std::shared_ptr<WorkerStream>> streams;
    {
        const std::lock_guard lock(m_mutex);
        const auto isOver = [](const Entry& entry) { return entry.stream->isOver(); };
        const auto firstOver = std::stable_partition(m_streams.begin(), m_streams.end(), std::not_fn(isOver));
        std::move(firstOver, m_streams.end(), std::back_inserter(over));
        m_streams.erase(firstOver, m_streams.end());
        for (const Entry& entry : m_streams) {
            streams.push_back(entry.stream);
        }
    }
    if (!over.empty()) {
        m_letGoAt = std::chrono::steady_clock::now() + m_idleTime;
    }
    for (const Entry& entry : over) {
        auto decoder = entry.stream->takeDecoder();
        decoder->shouldAbort = {};
        if (entry.recycle) {
            entry.recycle(std::move(decoder));
        }
    }
    return streams;
}

bool RecognitionWorker::turn(const std::vector<std::shared_ptr<WorkerStream>>& streams) {
    for (const auto& stream : streams) {
        stream->cut();
    }
    for (const auto& stream : streams) {
        if (stream->decodeClosed()) {
            return true;
        }
    }
    bool isBusy = false;
    for (const auto& stream : streams) {
        isBusy = stream->decodeSome() || isBusy;
    }
    if (isBusy) {
        return true;
    }
    const auto now = std::chrono::steady_clock::now();
    for (const auto& stream : streams) {
        if (stream->guess(now)) {
            return true;
        }
    }
    return std::ranges::any_of(streams, [](const auto& stream) { return stream->isOver(); });
}

}  // namespace lumbro::speech
