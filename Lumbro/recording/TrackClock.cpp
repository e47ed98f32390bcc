#include "recording/TrackClock.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumbro {

namespace {

// Audio that is this late may have been lost on the way.
constexpr double gapLateness = 0.08;
// Audio is held until this much of it came without catching up.
constexpr double longestHold = 0.25;
// A block that still catches up is waited for, up to here.
constexpr double mostCatchUpSeconds = 10.0;
// Drift is corrected from the first of these on until it is below the second.
constexpr double driftToCorrect = 0.03;
constexpr double driftToLeave = 0.01;
constexpr double driftWindow = 1.0;
// Part of the frames that may be left out or repeated: inaudible, and far more than any device drifts.
constexpr double correctionRate = 0.001;

double secondsOf(const AudioBuffer& buffer) {
    return static_cast<double>(buffer.frames()) / buffer.format.rate;
}

}  // namespace

double TrackTimeline::startAt(double begin) {
    const std::lock_guard guard(m_lock);
    if (!m_zero) {
        m_zero = begin;
    }
    return *m_zero;
}

TrackClock::TrackClock(std::shared_ptr<TrackTimeline> timeline, Monotonic monotonic,
                       AudioSource::Consumer next)
    : m_timeline(std::move(timeline)), m_monotonic(std::move(monotonic)), m_next(std::move(next)) {}

void TrackClock::ingest(const AudioBuffer& buffer) {
    if (buffer.frames() == 0 || buffer.format.rate <= 0) {
        return;
    }
    const std::lock_guard guard(m_lock);
    const double now = std::chrono::duration<double>(m_monotonic()).count();
    const double duration = secondsOf(buffer);
    if (m_isHolding) {
        hold(buffer, now, duration);
        if (isSettled()) {
            release();
        }
        return;
    }
    const double late = lateness(now, duration);
    if (late > gapLateness) {
        m_isHolding = true;
        hold(buffer, now, duration);
        return;
    }
    watchDrift(late, duration);
    deliverCorrected(buffer);
}

void TrackClock::finish() {
    const std::lock_guard guard(m_lock);
    if (m_isHolding && !m_held.empty()) {
        release();
    }
}

double TrackClock::lateness(double now, double duration) const {
    return now - m_zero.value_or(now) - m_position - duration;
}

void TrackClock::hold(const AudioBuffer& buffer, double now, double duration) {
    m_held.push_back({buffer.format, {buffer.samples.begin(), buffer.samples.end()}});
    m_heldSeconds += duration;
    const double begin = now - m_heldSeconds;
    const bool catchesUp = !std::isinf(m_heldBegin) && m_heldBegin - begin > duration / 2;
    m_steadySeconds = catchesUp ? 0 : m_steadySeconds + duration;
    m_heldBegin = std::min(m_heldBegin, begin);
}

bool TrackClock::isSettled() const {
    if (m_zero && m_heldBegin - *m_zero - m_position <= gapLateness / 2) {
        return true;
    }
    return m_steadySeconds >= longestHold || m_heldSeconds >= mostCatchUpSeconds;
}

void TrackClock::release() {
    const bool isStart = !m_zero;
    if (isStart) {
        m_zero = m_timeline->startAt(m_heldBegin);
    }
    const double late = m_heldBegin - *m_zero - m_position;
    if (late < 0 && isStart) {
        trimHeld(-late);
    } else if (late > (isStart ? 0 : gapLateness / 2)) {
        pad(m_held.front().format, late);
    }
    for (const Held& held : std::exchange(m_held, {})) {
        deliver({held.format, held.samples});
    }
    m_isHolding = false;
    m_heldSeconds = 0;
    m_steadySeconds = 0;
    m_heldBegin = std::numeric_limits<double>::infinity();
    m_windowSeconds = 0;
    m_windowLateness = std::numeric_limits<double>::infinity();
}

void TrackClock::pad(AudioFormat format, double seconds) {
    auto frames = std::llround(seconds * format.rate);
    m_scratch.assign(
        static_cast<size_t>(std::min<long long>(frames, format.rate)) * static_cast<size_t>(format.channels),
        0.F);
    while (frames > 0) {
        const auto part = std::min<long long>(frames, format.rate);
        deliver({format, std::span(m_scratch).first(static_cast<size_t>(part) *
                                                    static_cast<size_t>(format.channels))});
        frames -= part;
    }
}

// What was heard before the recording's zero is no part of it.
void TrackClock::trimHeld(double seconds) {
    for (Held& held : m_held) {
        const auto channels = static_cast<size_t>(held.format.channels);
        const auto frames = std::min(static_cast<size_t>(std::llround(seconds * held.format.rate)),
                                     held.samples.size() / channels);
        held.samples.erase(held.samples.begin(),
                           held.samples.begin() + static_cast<std::ptrdiff_t>(frames * channels));
        seconds -= static_cast<double>(frames) / held.format.rate;
    }
}

void TrackClock::deliver(const AudioBuffer& buffer) {
    if (buffer.frames() == 0) {
        return;
    }
    m_position += secondsOf(buffer);
    m_next(buffer);
}

// Buffers come late at random but never early, so the least lateness of a while is the device's own.
void TrackClock::watchDrift(double late, double duration) {
    m_windowLateness = std::min(m_windowLateness, late);
    m_windowSeconds += duration;
    if (m_windowSeconds < driftWindow) {
        return;
    }
    const double limit = m_correction == 0 ? driftToCorrect : driftToLeave;
    m_correction = m_windowLateness > limit ? 1 : m_windowLateness < -limit ? -1 : 0;
    m_windowSeconds = 0;
    m_windowLateness = std::numeric_limits<double>::infinity();
}

void TrackClock::deliverCorrected(const AudioBuffer& buffer) {
    if (m_correction == 0) {
        deliver(buffer);
        return;
    }
    m_owedFrames += static_cast<double>(buffer.frames()) * correctionRate;
    const auto frames = std::min(static_cast<size_t>(m_owedFrames), buffer.frames() - 1);
    m_owedFrames -= static_cast<double>(frames);
    const auto samples = frames * static_cast<size_t>(buffer.format.channels);
    if (m_correction < 0) {
        deliver({buffer.format, buffer.samples.first(buffer.samples.size() - samples)});
        return;
    }
    m_scratch.assign(buffer.samples.begin(), buffer.samples.end());
    for (size_t i = 0; i < samples; ++i) {
        m_scratch.push_back(buffer.samples[buffer.samples.size() - samples + i]);
    }
    deliver({buffer.format, m_scratch});
}

}  // namespace lumbro
