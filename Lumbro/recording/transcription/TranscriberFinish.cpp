#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "recording/transcription/TranscriberCore.h"

#include <utility>

namespace lumbro {

namespace {

constexpr auto finishLimit = std::chrono::seconds(2);
// A recogniser that works on a long file is asked for progress this often, and given this many chances.
constexpr auto progressPeriod = std::chrono::seconds(10);
constexpr int progressChances = 6;

}  // namespace

/// Suspends until the transcription is over or waited for long enough.
struct TranscriberCore::FinishGate {
    TranscriberCore& core;

    bool await_ready() const noexcept { return core.m_isGateOpen; }
    void await_suspend(std::coroutine_handle<> handle) const { core.m_finishWaits.push_back(handle); }
    void await_resume() const noexcept {}
};

Task<> TranscriberCore::finish(FinishWait wait) {
    const auto self = shared_from_this();
    m_isFinishing = true;
    m_isDraining = wait == FinishWait::allFinals && m_keepsForReplay && !m_isGateOpen;
    m_watchdog.stop();
    std::shared_ptr<speech::RecognitionStream> stream;
    {
        const std::lock_guard lock(m_lock);
        m_isAccepting = false;
        stream = m_stream;
    }
    if ((m_hasAnalyzer && stream) || m_isLaunching || (m_isDraining && m_isRecovering)) {
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
    m_lastActivity = activity();
    m_finishTimer.start(m_clock, progressPeriod, Clock::Repeat::always, [this] { checkProgress(); });
}

// What counts is the recogniser, not this track: it may be busy with the other one, or with one long
// utterance, for minutes.
void TranscriberCore::checkProgress() {
    const double left = backlog();
    const quint64 done = activity();
    const bool isMoving = left < m_lastBacklog || done != m_lastActivity || m_isLaunching;
    m_idleChecks = isMoving ? 0 : m_idleChecks + 1;
    m_lastBacklog = left;
    m_lastActivity = done;
    if (m_idleChecks >= progressChances) {
        AppLog::error(u"speech"_s, u"%1 the recogniser stood still"_s.arg(name()));
        openGate();
    }
}

quint64 TranscriberCore::activity() const {
    const std::lock_guard lock(m_lock);
    return m_stream ? m_stream->activity() : 0;
}

void TranscriberCore::stopWaiting() {
    m_isDraining = false;
    openGate();
}

void TranscriberCore::openGate() {
    m_isGateOpen = true;
    for (const auto handle : std::exchange(m_finishWaits, {})) {
        handle.resume();
    }
}

}  // namespace lumbro
