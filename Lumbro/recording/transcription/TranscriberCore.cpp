#include "recording/transcription/TranscriberCore.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "recording/transcription/SpeechError.h"

#include <cmath>
#include <utility>

namespace lumbro {

namespace {

constexpr float loudLevel = 0.4F;
constexpr auto watchdogPeriod = std::chrono::seconds(10);
constexpr double stallLimit = 45;
constexpr int failureLimit = 5;
constexpr int logPrefixLength = 60;
// Audio is heard again from a little before the last final, which brings that one once more; the next one
// begins later than this after it.
constexpr double replayLead = 0.3;
constexpr double sameFinal = 0.5;
// More than the longest utterance; what is older has been heard and found to hold no words.
constexpr double longestOpen = 60;
constexpr int replayLimit = 3;

const QString tag = u"speech"_s;

}  // namespace

TranscriberCore::TranscriberCore(LiveTranscriber& owner, Speaker speaker, Clock& clock)
    : m_owner(&owner), m_speaker(speaker), m_clock(clock) {}

void TranscriberCore::abandon() {
    m_owner = nullptr;
    m_isFinishing = true;
    m_isDraining = false;
    m_watchdog.stop();
    stopFeeding();
    openGate();
}

void TranscriberCore::stopFeeding() {
    std::shared_ptr<speech::RecognitionStream> old;
    {
        const std::lock_guard lock(m_lock);
        m_isAccepting = false;
        lose(openSeconds());
        m_kept.restartAt(m_secondsFed);
        old = std::move(m_stream);
    }
    ++m_generation;
    m_hasAnalyzer = false;
}

void TranscriberCore::open(FedAudio audio) {
    const std::lock_guard lock(m_lock);
    m_isAccepting = true;
    m_keepsForReplay = audio == FedAudio::keptForReplay;
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
    }
    if (m_isAccepting && (m_keepsForReplay || !m_stream)) {
        m_kept.append(samples);
    }
    m_secondsFed += seconds;
    if (level > 0) {
        m_lastSound = m_secondsFed;
        m_lost += m_isAccepting ? 0 : seconds;
    }
    if (m_stream && m_keepsForReplay) {
        m_kept.dropBefore(m_secondsFed - m_stream->backlog() - longestOpen);
    }
    if (level >= loudLevel) {
        m_loudSecondsSinceResult += seconds;
    }
}

double TranscriberCore::backlog() const {
    const std::lock_guard lock(m_lock);
    return m_stream ? m_stream->backlog() : m_kept.length();
}

double TranscriberCore::unheard() const {
    const std::lock_guard lock(m_lock);
    return openSeconds();
}

double TranscriberCore::lost() const {
    const std::lock_guard lock(m_lock);
    return m_lost;
}

double TranscriberCore::openSeconds() const {
    const double seconds = m_stream ? m_stream->unheard() : m_kept.length();
    return m_lastSound > m_secondsFed - seconds ? seconds : 0;
}

void TranscriberCore::lose(double seconds) {
    if (seconds > 0) {
        AppLog::error(tag, u"%1 %2s of sound not transcribed"_s.arg(name()).arg(seconds, 0, 'f', 1));
    }
    m_lost += seconds;
}

double TranscriberCore::beginStream() {
    std::shared_ptr<speech::RecognitionStream> old;
    const std::lock_guard lock(m_lock);
    m_loudSecondsSinceResult = 0;
    old = std::move(m_stream);
    if (!std::exchange(m_hasLaunched, true) || m_keepsForReplay) {
        // The first stream holds everything from the very first buffer.
        return m_kept.begin();
    }
    lose(openSeconds());
    m_kept.restartAt(m_secondsFed);
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
        stopFeeding();
        co_return std::unexpected(captureError::speech(u"no locale"_s));
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
        if (!m_isRecovering || !m_keepsForReplay) {
            stopFeeding();
        }
        if (m_isFinishing && !(m_isRecovering && m_isDraining)) {
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
        stream->feed(m_kept.samples());
        if (!m_keepsForReplay) {
            m_kept.restartAt(m_secondsFed);
        }
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
        AppLog::info(tag, u"%1 final: %2"_s.arg(name(), firstCharacters(text, logPrefixLength)));
    }
    {
        const std::lock_guard lock(m_lock);
        m_loudSecondsSinceResult = 0;
    }
    // Any result counts, an empty one too: it proves that the recogniser lives.
    m_failuresInARow = 0;
    m_idleChecks = 0;
    if (m_isReplaying && m_lastFinal && std::isfinite(result.start) && start < *m_lastFinal + sameFinal) {
        return;
    }
    const TranscriptSegment segment{QUuid::createUuid(), m_speaker, start, text};
    if (result.isFinal) {
        noteFinal(std::isfinite(result.start) ? start : 0);
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

void TranscriberCore::noteFinal(double start) {
    m_lastFinal = start;
    m_isReplaying = false;
    m_replaysInARow = 0;
    if (m_keepsForReplay) {
        const std::lock_guard lock(m_lock);
        m_kept.dropBefore(start - replayLead);
    }
}

void TranscriberCore::ended(const Result<>& outcome, int generation) {
    if (generation != m_generation) {
        return;
    }
    if (m_isFinishing && (outcome || !m_isDraining)) {
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
    if (!mayRelaunch() || m_isRecovering) {
        co_return;
    }
    m_isRecovering = true;
    ++m_generation;
    if (m_keepsForReplay) {
        prepareReplay();
    } else {
        keepPendingVolatile();
    }
    std::shared_ptr<speech::RecognitionStream> aside;
    {
        const std::lock_guard lock(m_lock);
        if (!m_keepsForReplay) {
            lose(openSeconds());
        }
        aside = std::move(m_stream);
    }
    m_hasAnalyzer = false;
    co_await relaunch(std::move(reason), isStall);
    aside.reset();
    m_isRecovering = false;
}

void TranscriberCore::prepareReplay() {
    m_isReplaying = true;
    if (++m_replaysInARow <= replayLimit) {
        // What is on the screen is said again.
        return;
    }
    // Something in what it has looked at ends the recogniser every time.
    keepPendingVolatile();
    const std::lock_guard lock(m_lock);
    const double kept = m_kept.length();
    m_kept.dropBefore(m_secondsFed - (m_stream ? m_stream->backlog() : 0));
    lose(kept - m_kept.length());
    m_replaysInARow = 0;
}

Task<> TranscriberCore::relaunch(QString reason, bool isStall) {
    const auto self = shared_from_this();
    for (int attempt = 1; m_failuresInARow < failureLimit; ++attempt) {
        AppLog::info(tag, u"%1 restarting analyzer (%2), try %3"_s.arg(name(), reason).arg(attempt));
        if (attempt >= 2) {
            co_await m_clock.sleep(std::chrono::seconds(attempt - 1));
            if (!mayRelaunch()) {
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
        if (!mayRelaunch()) {
            co_return;
        }
    }
    giveUp();
}

void TranscriberCore::giveUp() {
    AppLog::error(tag, u"%1 gave up after %2 failed restarts"_s.arg(name()).arg(m_failuresInARow));
    keepPendingVolatile();
    // Nobody will read what is fed from here on.
    stopFeeding();
    if (m_isFinishing) {
        openGate();
    }
    if (m_owner != nullptr && m_owner->onGaveUp) {
        const auto onGaveUp = m_owner->onGaveUp;
        onGaveUp(u"Live transcript stopped. Audio is still recording."_s);
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
