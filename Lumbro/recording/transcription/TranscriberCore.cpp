#include "recording/transcription/TranscriberCore.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"

#include <cmath>
#include <utility>

namespace lumbro {

namespace {

constexpr float loudLevel = 0.4F;
constexpr auto watchdogPeriod = std::chrono::seconds(10);
constexpr double stallLimit = 45;
constexpr auto finishLimit = std::chrono::seconds(2);
constexpr int failureLimit = 5;
constexpr int logPrefixLength = 60;
// A recogniser that works on a long file is asked for progress this often, and given this many chances.
constexpr auto progressPeriod = std::chrono::seconds(10);
constexpr int progressChances = 6;

const QString tag = u"speech"_s;

}  // namespace

/// Suspends until the transcription is over or waited for long enough.
struct TranscriberCore::FinishGate {
    TranscriberCore& core;

    bool await_ready() const noexcept { return core.m_isGateOpen; }
    void await_suspend(std::coroutine_handle<> handle) const { core.m_finishWaits.push_back(handle); }
    void await_resume() const noexcept {}
};

TranscriberCore::TranscriberCore(LiveTranscriber& owner, Speaker speaker, Clock& clock)
    : m_owner(&owner), m_speaker(speaker), m_clock(clock) {}

void TranscriberCore::abandon() {
    m_owner = nullptr;
    m_isFinishing = true;
    m_watchdog.stop();
    stopFeeding();
    openGate();
}

void TranscriberCore::stopFeeding() {
    std::shared_ptr<speech::RecognitionStream> old;
    {
        const std::lock_guard lock(m_lock);
        m_isAccepting = false;
        m_queue = {};
        old = std::move(m_stream);
    }
    ++m_generation;
    m_hasAnalyzer = false;
}

void TranscriberCore::open() {
    const std::lock_guard lock(m_lock);
    m_isAccepting = true;
}

Task<Result<>> TranscriberCore::start(std::shared_ptr<speech::Recognizer> recognizer, QString locale) {
    const auto self = shared_from_this();
    m_recognizer = std::move(recognizer);
    m_locale = std::move(locale);
    const auto launched = co_await launch();
    if (launched && !m_isFinishing) {
        m_watchdog.start(m_clock, watchdogPeriod, Clock::Repeat::always, [this] { checkForStall(); });
    }
    co_return launched;
}

void TranscriberCore::feed(std::span<const float> samples, float level) {
    const double seconds = double(samples.size()) / speech::sampleRate;
    const std::lock_guard lock(m_lock);
    if (m_isAccepting && m_stream) {
        m_stream->feed(samples);
    } else if (m_isAccepting) {
        m_queue.insert(m_queue.end(), samples.begin(), samples.end());
    }
    m_secondsFed += seconds;
    if (level >= loudLevel) {
        m_loudSecondsSinceResult += seconds;
    }
}

double TranscriberCore::backlog() const {
    const std::lock_guard lock(m_lock);
    const double queued = double(m_queue.size()) / speech::sampleRate;
    return queued + (m_stream ? m_stream->backlog() : 0);
}

double TranscriberCore::beginStream() {
    std::shared_ptr<speech::RecognitionStream> old;
    const std::lock_guard lock(m_lock);
    m_loudSecondsSinceResult = 0;
    if (!std::exchange(m_hasLaunched, true)) {
        // The first stream holds everything from the very first buffer.
        return 0;
    }
    old = std::move(m_stream);
    m_queue.clear();
    m_isAccepting = !m_isFinishing;
    return m_secondsFed;
}

speech::RecognitionEvents TranscriberCore::eventsOf(int generation, double offset) {
    const std::weak_ptr<TranscriberCore> weak = weak_from_this();
    speech::RecognitionEvents events;
    events.onResult = [weak, generation, offset](const speech::RecognitionResult& result) {
        if (const auto self = weak.lock()) {
            self->handle(result, generation, offset);
        }
    };
    events.onEnd = [weak, generation](const Result<>& outcome) {
        if (const auto self = weak.lock()) {
            self->ended(outcome, generation);
        }
    };
    return events;
}

Task<Result<>> TranscriberCore::launch() {
    const auto self = shared_from_this();
    if (m_locale.isEmpty() || !m_recognizer) {
        co_return fail(FailureKind::speech, u"no locale"_s);
    }
    const double offset = beginStream();
    const int generation = ++m_generation;
    m_isLaunching = true;
    const auto recognizer = m_recognizer;
    auto opened = co_await recognizer->open(eventsOf(generation, offset));
    if (generation != m_generation) {
        co_return fail(FailureKind::cancelled, u"The transcription has ended."_s);
    }
    m_isLaunching = false;
    if (!opened) {
        AppLog::error(tag, u"%1 analyzer start failed: %2"_s.arg(name(), opened.error().message));
        stopFeeding();
        if (m_isFinishing) {
            openGate();
        }
        co_return std::unexpected(opened.error());
    }
    m_hasAnalyzer = true;
    AppLog::info(tag, u"%1 analyzer format=%2Hz/float32 locale=%3 offset=%4s"_s.arg(name())
                          .arg(speech::sampleRate)
                          .arg(m_locale)
                          .arg(static_cast<qint64>(offset)));
    connectStream(std::move(opened->stream));
    co_return Result<>();
}

void TranscriberCore::connectStream(std::shared_ptr<speech::RecognitionStream> stream) {
    {
        const std::lock_guard lock(m_lock);
        m_stream = stream;
        stream->feed(m_queue);
        m_queue = {};
    }
    if (m_isFinishing) {
        stream->finish();
    }
}

void TranscriberCore::handle(const speech::RecognitionResult& result, int generation, double offset) {
    const QString text = result.text.trimmed();
    const double start = std::isfinite(result.start) ? offset + result.start : offset;
    if (generation != m_generation) {
        return;
    }
    if (result.isFinal) {
        AppLog::info(tag, u"%1 final: %2"_s.arg(name(), text.left(logPrefixLength)));
    }
    {
        const std::lock_guard lock(m_lock);
        m_loudSecondsSinceResult = 0;
    }
    // Any result counts, an empty one too: it proves that the recogniser lives.
    m_failuresInARow = 0;
    m_idleChecks = 0;
    const TranscriptSegment segment{QUuid::createUuid(), m_speaker, start, text};
    if (result.isFinal) {
        m_pendingVolatile.reset();
        sayVolatile(QString());
        if (!text.isEmpty()) {
            sayFinal(segment);
        }
        return;
    }
    m_pendingVolatile = text.isEmpty() ? std::nullopt : std::optional(segment);
    sayVolatile(text);
}

void TranscriberCore::ended(const Result<>& outcome, int generation) {
    if (generation != m_generation) {
        return;
    }
    if (m_isFinishing) {
        openGate();
        return;
    }
    const QString reason = outcome ? u"results ended"_s : u"results ended: %1"_s.arg(outcome.error().message);
    AppLog::error(tag, u"%1 %2"_s.arg(name(), reason));
    runDetached(recover(reason, false));
}

void TranscriberCore::checkForStall() {
    if (m_isFinishing || !m_hasAnalyzer) {
        return;
    }
    double loud = 0;
    {
        const std::lock_guard lock(m_lock);
        loud = m_loudSecondsSinceResult;
    }
    if (loud >= stallLimit) {
        const auto seconds = static_cast<qint64>(loud);
        runDetached(recover(u"no words for %1s of speech"_s.arg(seconds), true));
    }
}

void TranscriberCore::keepPendingVolatile() {
    if (const auto pending = std::exchange(m_pendingVolatile, std::nullopt)) {
        sayVolatile(QString());
        sayFinal(*pending);
    }
}

Task<> TranscriberCore::recover(QString reason, bool isStall) {
    const auto self = shared_from_this();
    if (m_isFinishing || m_isRecovering) {
        co_return;
    }
    m_isRecovering = true;
    ++m_generation;
    keepPendingVolatile();
    std::shared_ptr<speech::RecognitionStream> aside;
    {
        const std::lock_guard lock(m_lock);
        aside = m_stream;
    }
    m_hasAnalyzer = false;
    co_await relaunch(std::move(reason), isStall);
    aside.reset();
    m_isRecovering = false;
}

Task<> TranscriberCore::relaunch(QString reason, bool isStall) {
    const auto self = shared_from_this();
    for (int attempt = 1; m_failuresInARow < failureLimit; ++attempt) {
        AppLog::info(tag, u"%1 restarting analyzer (%2), try %3"_s.arg(name(), reason).arg(attempt));
        if (attempt >= 2) {
            co_await m_clock.sleep(std::chrono::seconds(attempt - 1));
            if (m_isFinishing) {
                co_return;
            }
        }
        const auto launched = co_await launch();
        if (launched) {
            m_failuresInARow += isStall ? 0 : 1;
            co_return;
        }
        ++m_failuresInARow;
        AppLog::error(tag, u"%1 restart failed: %2"_s.arg(name(), launched.error().message));
        if (m_isFinishing) {
            co_return;
        }
    }
    giveUp();
}

void TranscriberCore::giveUp() {
    AppLog::error(tag, u"%1 gave up after %2 failed restarts"_s.arg(name()).arg(m_failuresInARow));
    // Nobody will read what is fed from here on.
    stopFeeding();
    if (m_owner != nullptr && m_owner->onGaveUp) {
        const auto onGaveUp = m_owner->onGaveUp;
        onGaveUp(u"Live transcript stopped. Audio is still recording."_s);
    }
}

Task<> TranscriberCore::finish(FinishWait wait) {
    const auto self = shared_from_this();
    m_isFinishing = true;
    m_watchdog.stop();
    std::shared_ptr<speech::RecognitionStream> stream;
    {
        const std::lock_guard lock(m_lock);
        m_isAccepting = false;
        stream = m_stream;
    }
    if ((m_hasAnalyzer && stream) || m_isLaunching) {
        if (stream && m_hasAnalyzer) {
            stream->finish();
        }
        watchFinish(wait);
        co_await FinishGate{*this};
    }
    m_finishTimer.stop();
    stream.reset();
    m_isGateOpen = true;
    stopFeeding();
}

void TranscriberCore::watchFinish(FinishWait wait) {
    if (wait == FinishWait::brief) {
        m_finishTimer.start(m_clock, finishLimit, Clock::Repeat::once, [this] { openGate(); });
        return;
    }
    m_idleChecks = 0;
    m_lastBacklog = backlog();
    m_finishTimer.start(m_clock, progressPeriod, Clock::Repeat::always, [this] {
        const double left = backlog();
        m_idleChecks = left < m_lastBacklog ? 0 : m_idleChecks + 1;
        m_lastBacklog = left;
        if (m_idleChecks >= progressChances) {
            AppLog::error(tag,
                          u"%1 the recogniser stood still, %2s not heard"_s.arg(name()).arg(left, 0, 'f', 1));
            openGate();
        }
    });
}

void TranscriberCore::openGate() {
    m_isGateOpen = true;
    for (const auto handle : std::exchange(m_finishWaits, {})) {
        handle.resume();
    }
}

void TranscriberCore::sayFinal(const TranscriptSegment& segment) const {
    if (m_owner != nullptr && m_owner->onFinal) {
        const auto onFinal = m_owner->onFinal;
        onFinal(segment);
    }
}

void TranscriberCore::sayVolatile(const QString& text) const {
    if (m_owner != nullptr && m_owner->onVolatile) {
        const auto onVolatile = m_owner->onVolatile;
        onVolatile(text);
    }
}

}  // namespace lumbro
