#include "recording/audio/FileAudioSource.h"

#include "LumbroCore/Mailbox.h"
#include "recording/audio/MediaReader.h"

#include <QCoroFuture>
#include <QObject>
#include <QPromise>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace lumbro {

namespace {

constexpr auto grantInterval = std::chrono::milliseconds(50);
constexpr auto pollInterval = std::chrono::milliseconds(2);

}  // namespace

/// The thread that reads, decodes and delivers.
class FileAudioSource::Worker {
  public:
    Worker(QString file, FilePlayback playback, Consumer onBuffer, std::function<void()> onDone)
        : m_file(std::move(file)),
          m_playback(std::move(playback)),
          m_onBuffer(std::move(onBuffer)),
          m_onDone(std::move(onDone)) {
        m_head->known.start();
        m_thread = std::thread([this] { run(); });
    }
    ~Worker() {
        {
            const std::lock_guard guard(m_lock);
            m_stopped = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }

    /// What the head of the file says. May be awaited beyond the worker's end.
    Task<Result<AudioFileInfo>> opened() { return opened(m_head); }
    double position() const { return m_position; }
    MediaEnd end() const { return m_end; }

    /// In real time: everything up to this moment of the file may be delivered.
    void grant(double seconds) {
        {
            const std::lock_guard guard(m_lock);
            m_granted = seconds;
        }
        m_wake.notify_all();
    }

  private:
    struct Head {
        QPromise<void> known;
        Result<AudioFileInfo> info;
        std::atomic<bool> isSet = false;
    };

    static Task<Result<AudioFileInfo>> opened(std::shared_ptr<Head> head);
    void run();
    Result<AudioFileInfo> open();
    bool mayDeliver();
    std::span<const float> picked(std::span<const float> interleaved);

    QString m_file;
    FilePlayback m_playback;
    Consumer m_onBuffer;
    std::function<void()> m_onDone;
    std::shared_ptr<Head> m_head = std::make_shared<Head>();
    MediaReader m_reader;
    AudioFormat m_format;
    std::vector<float> m_channel;
    std::atomic<double> m_position = 0;
    std::atomic<MediaEnd> m_end = MediaEnd::whole;

    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopped = false;
    double m_granted = 0;
    std::thread m_thread;
};

Result<AudioFileInfo> FileAudioSource::Worker::open() {
    if (const auto opened = m_reader.open(m_file); !opened) {
        return std::unexpected(opened.error());
    }
    m_format = m_reader.format();
    if (m_playback.channel) {
        if (*m_playback.channel < 0 || *m_playback.channel >= m_format.channels) {
            return fail(u"The file has no channel "_s + QString::number(*m_playback.channel + 1) + u'.');
        }
        m_format.channels = 1;
    }
    return AudioFileInfo{m_format, m_reader.duration()};
}

std::span<const float> FileAudioSource::Worker::picked(std::span<const float> interleaved) {
    if (!m_playback.channel) {
        return interleaved;
    }
    const auto channels = static_cast<size_t>(m_reader.format().channels);
    m_channel.resize(interleaved.size() / channels);
    for (size_t i = 0; i < m_channel.size(); ++i) {
        m_channel[i] = interleaved[i * channels + static_cast<size_t>(*m_playback.channel)];
    }
    return m_channel;
}

bool FileAudioSource::Worker::mayDeliver() {
    std::unique_lock guard(m_lock);
    if (m_playback.realTime) {
        m_wake.wait(guard, [this] { return m_stopped || m_granted > m_position; });
        return !m_stopped;
    }
    while (!m_stopped && m_playback.mayFeed) {
        guard.unlock();
        const bool allowed = m_playback.mayFeed();
        guard.lock();
        if (allowed) {
            break;
        }
        m_wake.wait_for(guard, pollInterval, [this] { return m_stopped; });
    }
    return !m_stopped;
}

Task<Result<AudioFileInfo>> FileAudioSource::Worker::opened(std::shared_ptr<Head> head) {
    co_await head->known.future();
    [[maybe_unused]] const bool isSet = head->isSet.load(std::memory_order_acquire);
    Q_ASSERT(isSet);
    co_return Result<AudioFileInfo>(head->info);
}

void FileAudioSource::Worker::run() {
    m_head->info = open();
    m_head->isSet.store(true, std::memory_order_release);
    m_head->known.finish();
    if (!m_head->info) {
        return;
    }
    qint64 frames = 0;
    while (mayDeliver()) {
        const auto piece = m_reader.read();
        if (!piece) {
            m_end = m_reader.end();
            m_onDone();
            return;
        }
        const AudioBuffer buffer{m_format, picked(*piece)};
        if (buffer.frames() > 0) {
            m_onBuffer(buffer);
            frames += static_cast<qint64>(buffer.frames());
            m_position = static_cast<double>(frames) / m_format.rate;
        }
    }
}

struct FileAudioSource::Private {
    Clock& clock;
    QString file;
    FilePlayback playback;
    AudioFileInfo info;
    std::unique_ptr<Worker> worker;
    /// Takes the worker's last word on the main thread; gone, and the word with it, after `stop`.
    std::unique_ptr<Mailbox> mainThread = std::make_unique<Mailbox>();
    Timer grants;
    bool stopped = false;

    static Task<Result<>> start(std::shared_ptr<Private> self, Consumer onBuffer);
    void startWorker(Consumer onBuffer);
};

void FileAudioSource::Private::startWorker(Consumer onBuffer) {
    Mailbox* receiver = mainThread.get();
    const auto ended = [this] {
        grants.stop();
        // The callback may well end this source.
        if (const auto onEnd = playback.onEnd) {
            onEnd();
        }
    };
    worker = std::make_unique<Worker>(file, playback, std::move(onBuffer),
                                      [receiver, ended] { receiver->post(ended); });
}

Task<Result<>> FileAudioSource::Private::start(std::shared_ptr<Private> self, Consumer onBuffer) {
    self->startWorker(std::move(onBuffer));
    const auto info = co_await self->worker->opened();
    if (self->stopped) {
        co_return fail(FailureKind::cancelled, u"The recording has ended."_s);
    }
    if (!info) {
        co_return std::unexpected(info.error());
    }
    self->info = *info;
    if (self->playback.realTime) {
        const Clock::Duration begin = self->clock.elapsed();
        const auto grant = [d = self.get(), begin] {
            d->worker->grant(std::chrono::duration<double>(d->clock.elapsed() - begin).count());
        };
        self->grants.start(self->clock, grantInterval, Clock::Repeat::always, grant);
    }
    co_return {};
}

FileAudioSource::FileAudioSource(Clock& clock, QString file, FilePlayback playback)
    : m_private(std::make_shared<Private>(clock, std::move(file), std::move(playback))) {}

FileAudioSource::~FileAudioSource() {
    stop();
}

Result<AudioFileInfo> FileAudioSource::probe(const QString& file) {
    MediaReader reader;
    if (const auto opened = reader.open(file); !opened) {
        return std::unexpected(opened.error());
    }
    return AudioFileInfo{reader.format(), reader.duration()};
}

Task<Result<>> FileAudioSource::start(Consumer onBuffer) {
    return Private::start(m_private, std::move(onBuffer));
}

void FileAudioSource::stop() {
    Private& d = *m_private;
    d.stopped = true;
    d.grants.stop();
    d.worker.reset();
    d.mainThread.reset();
}

const QString& FileAudioSource::file() const {
    return m_private->file;
}

double FileAudioSource::duration() const {
    return m_private->info.duration;
}

double FileAudioSource::position() const {
    return m_private->worker ? m_private->worker->position() : 0;
}

MediaEnd FileAudioSource::end() const {
    return m_private->worker ? m_private->worker->end() : MediaEnd::whole;
}

}  // namespace lumbro
