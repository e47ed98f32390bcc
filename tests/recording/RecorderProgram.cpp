// Records known sound and known words with the real session, quicker than time, and says how far it is.
// Killed or short of disk by the tests of faults.
//
//   recorder ROOT SPEED SECONDS [BYTES]
//
// BYTES is the largest size that a file may have. Lines on standard output: "audio <seconds heard>",
// "said <second>", "notice <text>", "stopping", "lost <text>", "stopped", "packed".

#include "LumbroSpeech/Recognizer.h"
#include "library/ContextLibrary.h"
#include "recording/CaptureSession.h"
#include "tests/recording/KnownSound.h"
#include "tests/support/TestClock.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro::test {
namespace {

void tell(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    [[maybe_unused]] const auto written =
        ::write(STDOUT_FILENO, bytes.constData(), static_cast<size_t>(bytes.size()));
}

/// Moves the recording's time on, quicker than the machine's, and waits for every sound that is due: on a
/// busy machine the whole recording takes longer, but no sound comes late.
class Pacer {
  public:
    Pacer(TestClock& clock, int speed) : m_clock(clock), m_step(speed) {
        QObject::connect(&m_beat, &QTimer::timeout, &m_beat, [this] { beat(); });
        m_beat.start(std::chrono::milliseconds(1));
    }
    /// Any thread.
    double seconds() const { return m_seconds; }
    /// `due` is when a source's next sound is due, in seconds. Main thread, like `leave`.
    void join(const std::atomic<double>& due) { m_due.push_back(&due); }
    void leave(const std::atomic<double>& due) { std::erase(m_due, &due); }

  private:
    void beat() {
        const auto isLate = [this](const std::atomic<double>* due) { return *due <= m_seconds; };
        // Moving on lets events run, and so the next beat.
        if (m_isMoving || std::ranges::any_of(m_due, isLate)) {
            return;
        }
        m_isMoving = true;
        m_clock.advance(m_step);
        m_seconds = std::chrono::duration<double>(m_clock.elapsed()).count();
        m_isMoving = false;
    }

    TestClock& m_clock;
    Clock::Duration m_step;
    QTimer m_beat;
    std::atomic<double> m_seconds = 0;
    std::vector<const std::atomic<double>*> m_due;
    bool m_isMoving = false;
};

/// Delivers the known sound when its time has come.
class KnownSource final : public AudioSource {
  public:
    /// Sources that share an origin carry the sound of the same moments: since the first of them started.
    KnownSource(Pacer& pacer, int track, std::shared_ptr<std::optional<double>> origin)
        : m_pacer(pacer), m_track(track), m_origin(std::move(origin)) {}
    ~KnownSource() override { KnownSource::stop(); }

    Task<Result<>> start(Consumer onBuffer) override {
        *m_origin = m_origin->value_or(m_pacer.seconds());
        m_due = **m_origin + pieceSeconds;
        m_pacer.join(m_due);
        m_thread = std::jthread([this, onBuffer](const std::stop_token& stop) { run(stop, onBuffer); });
        co_return Result<>();
    }
    void stop() override {
        m_pacer.leave(m_due);
        if (m_thread.joinable()) {
            m_thread.request_stop();
            m_thread.join();
        }
    }

  private:
    static constexpr qint64 piece = knownSound::rate / 10;
    static constexpr double pieceSeconds = static_cast<double>(piece) / knownSound::rate;

    void run(const std::stop_token& stop, const Consumer& onBuffer) {
        qint64 at = 0;
        while (!stop.stop_requested()) {
            if (m_pacer.seconds() < m_due) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            const std::vector<float> sound = knownSound::samples(at, piece, m_track);
            onBuffer({{knownSound::rate, 1}, sound});
            at += piece;
            if (m_track == 0) {
                tell(u"audio %1"_s.arg(static_cast<double>(at) / knownSound::rate));
            }
            m_due = m_due + pieceSeconds;
        }
    }

    Pacer& m_pacer;
    int m_track;
    std::shared_ptr<std::optional<double>> m_origin;
    std::atomic<double> m_due = 0;
    std::jthread m_thread;
};

/// Hears the number of each second.
class CountingRecognizer final : public speech::Recognizer {
  public:
    Task<Result<speech::OpenedStream>> open(speech::RecognitionEvents events) override {
        const bool isMe = std::exchange(m_isFirst, false);
        co_return speech::OpenedStream(std::make_shared<Stream>(std::move(events), isMe));
    }

  private:
    class Stream final : public speech::RecognitionStream {
      public:
        Stream(speech::RecognitionEvents events, bool isMe)
            : m_events(std::make_shared<speech::RecognitionEvents>(std::move(events))), m_isMe(isMe) {}
        void feed(std::span<const float> samples) override {
            const qint64 before = m_fed / knownSound::rate;
            m_fed += static_cast<qint64>(samples.size());
            for (qint64 second = before + 1; m_isMe && second <= m_fed / knownSound::rate; ++second) {
                say(second);
            }
        }
        void finish() override {
            QMetaObject::invokeMethod(qApp, [events = m_events] { events->onEnd({}); }, Qt::QueuedConnection);
        }
        double backlog() const override { return 0; }

      private:
        void say(qint64 second) {
            const auto deliver = [events = m_events, second] {
                events->onResult({u"second number %1"_s.arg(second), static_cast<double>(second), true});
                tell(u"said %1"_s.arg(second));
            };
            QMetaObject::invokeMethod(qApp, deliver, Qt::QueuedConnection);
        }
        std::shared_ptr<speech::RecognitionEvents> m_events;
        bool m_isMe;
        qint64 m_fed = 0;
    };
    bool m_isFirst = true;
};

Task<std::optional<WarmSpeech>> warm() {
    co_return WarmSpeech{u"en-US"_s, std::make_shared<CountingRecognizer>()};
}

Task<> record(ContextLibrary& library, TestClock& clock, Pacer& pacer, double seconds) {
    const CaptureRecord record = library.createCapture(CaptureKind::meeting, u"Meeting"_s, {}, clock.now());
    CaptureSession::Ports ports{.library = library, .clock = clock};
    const auto origin = std::make_shared<std::optional<double>>();
    ports.microphone = std::make_unique<KnownSource>(pacer, 0, origin);
    ports.system = std::make_unique<KnownSource>(pacer, 1, origin);
    ports.warmSpeech = warm;
    ports.monotonic = [&pacer] { return std::chrono::nanoseconds(std::llround(pacer.seconds() * 1e9)); };
    CaptureSession session(record, true, std::move(ports));
    QObject::connect(&session, &CaptureSession::noticeChanged, &session,
                     [&session] { tell(u"notice "_s + session.notice()); });
    if (const auto started = co_await session.start(); !started) {
        tell(u"failed "_s + started.error().message);
        QCoreApplication::exit(1);
        co_return;
    }
    co_await clock.sleep(Clock::Duration(std::llround(seconds * 1000)));
    tell(u"stopping"_s);
    co_await session.stop();
    if (const auto lost = session.lostText()) {
        tell(u"lost "_s + *lost);
    }
    tell(u"stopped"_s);
    co_await session.packed();
    tell(u"packed"_s);
    QCoreApplication::exit(0);
}

}  // namespace
}  // namespace lumbro::test

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (argc > 4) {
        const rlim_t bytes = arguments[4].toULongLong();
        const rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    lumbro::test::TestClock clock(QDateTime::currentDateTime());
    lumbro::test::Pacer pacer(clock, arguments[2].toInt());
    lumbro::ContextLibrary library(arguments[1], clock);
    library.open();
    lumbro::runDetached(lumbro::test::record(library, clock, pacer, arguments[3].toDouble()));
    return QCoreApplication::exec();
}
