#pragma once

#include "LumbroCore/Mailbox.h"
#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/UtteranceCutter.h"
#include "LumbroSpeech/UtteranceDecoder.h"

#include <QObject>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace lumbro::speech {

class WorkerStream;

/// The one thread on which a recogniser loads its model and decodes all of its streams. Finals of any stream
/// go before audio, audio before guesses. Made and destroyed on the main thread.
class RecognitionWorker : public std::enable_shared_from_this<RecognitionWorker> {
  public:
    using Recycle = std::function<void(std::unique_ptr<UtteranceDecoder>)>;

    /// Once no stream has been open and nothing posted for `idleTime`, `letGo` is called on the worker's
    /// thread and the memory it frees goes back to the system.
    explicit RecognitionWorker(std::function<void()> letGo = {},
                               std::chrono::milliseconds idleTime = modelKept);
    ~RecognitionWorker();
    RecognitionWorker(const RecognitionWorker&) = delete;
    RecognitionWorker& operator=(const RecognitionWorker&) = delete;

    /// Runs `action` on the worker's thread, after what is queued. Any thread.
    void post(std::function<void()> action);
    /// Runs `action` on the main thread, never before this returns. Any thread.
    void toMainThread(std::function<void()> action);

    /// Grows while there is progress with whatever is being done. Any thread.
    quint64 activity() const { return m_activity; }

    /// Runs `work` on the worker's thread and gives its result. The worker lives at least until then. Main
    /// thread.
    Task<Result<>> call(std::function<Result<>()> work);

    /// A stream of its own cutter and decoder. When it goes, the decoder is handed to `recycle` on the
    /// worker's thread. Main thread.
    std::shared_ptr<RecognitionStream> openStream(std::unique_ptr<UtteranceCutter> cutter,
                                                  std::unique_ptr<UtteranceDecoder> decoder, Recycle recycle,
                                                  RecognitionEvents events);

  private:
    struct Entry {
        std::shared_ptr<WorkerStream> stream;
        Recycle recycle;
    };

    struct Call;

    void wake();
    void run();
    void waitForWork(bool isBusy);
    void letGoWhenIdle();
    bool runActions();
    bool turn(const std::vector<std::shared_ptr<WorkerStream>>& streams);
    std::vector<std::shared_ptr<WorkerStream>> currentStreams();

    Mailbox m_home;
    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::deque<std::function<void()>> m_actions;
    std::vector<Entry> m_streams;
    bool m_isWoken = false;
    std::atomic<bool> m_isEnding = false;
    std::atomic<quint64> m_activity = 0;
    std::function<void()> m_letGo;
    std::chrono::milliseconds m_idleTime;
    /// When to let go; on the worker's thread only.
    std::optional<std::chrono::steady_clock::time_point> m_letGoAt;
    std::thread m_thread;
};

}  // namespace lumbro::speech
