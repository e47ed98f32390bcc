#include "LumbroCore/Clock.h"

#include <QTimer>

#include <coroutine>
#include <memory>
#include <unordered_map>

namespace lumbro {

namespace {

struct ClockAwaiter {
    Clock& clock;
    Clock::Duration delay;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        clock.startTimer(delay, Clock::Repeat::once, [handle] { handle.resume(); });
    }
    void await_resume() const noexcept {}
};

}  // namespace

Task<> Clock::sleep(Duration delay) {
    co_await ClockAwaiter{*this, delay};
}

Timer::Timer(Timer&& other) noexcept
    : m_clock(std::exchange(other.m_clock, nullptr)), m_id(std::exchange(other.m_id, 0)) {}

Timer& Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        stop();
        m_clock = std::exchange(other.m_clock, nullptr);
        m_id = std::exchange(other.m_id, 0);
    }
    return *this;
}

void Timer::start(Clock& clock, Clock::Duration delay, Clock::Repeat repeat, std::function<void()> action) {
    stop();
    m_clock = &clock;
    m_id = clock.startTimer(delay, repeat, [this, repeat, action = std::move(action)] {
        // A timer that has fired once is over before its action runs, so that the action may start it again.
        if (repeat == Clock::Repeat::once) {
            m_clock = nullptr;
        }
        const auto keep = action;
        keep();
    });
}

void Timer::stop() {
    if (m_clock != nullptr) {
        std::exchange(m_clock, nullptr)->stopTimer(m_id);
    }
}

struct SystemClock::Timers {
    TimerId lastId = 0;
    std::unordered_map<TimerId, std::unique_ptr<QTimer>> running;
};

SystemClock::SystemClock(QDateTime fixedNow)
    : m_fixedNow(std::move(fixedNow)), m_timers(std::make_unique<Timers>()) {}

SystemClock::~SystemClock() = default;

QDateTime SystemClock::now() const {
    return m_fixedNow.isValid() ? m_fixedNow : QDateTime::currentDateTime();
}

Clock::Duration SystemClock::elapsed() const {
    return std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch());
}

Clock::TimerId SystemClock::startTimer(Duration delay, Repeat repeat, std::function<void()> action) {
    const TimerId id = ++m_timers->lastId;
    auto timer = std::make_unique<QTimer>();
    // A coarse timer may fire early, which a wait must not; one that repeats may, and lets the machine sleep.
    const bool isPrecise = repeat == Repeat::once || delay < std::chrono::seconds(2);
    timer->setTimerType(isPrecise ? Qt::PreciseTimer : Qt::CoarseTimer);
    timer->setSingleShot(repeat == Repeat::once);
    QObject::connect(timer.get(), &QTimer::timeout, timer.get(),
                     [this, id, repeat, action = std::move(action)] {
                         // The action may stop this very timer, which destroys the lambda's captures: run a
                         // copy.
                         const auto keep = action;
                         if (repeat == Repeat::once) {
                             stopTimer(id);
                         }
                         keep();
                     });
    timer->start(delay);
    m_timers->running.emplace(id, std::move(timer));
    return id;
}

void SystemClock::stopTimer(TimerId id) {
    const auto found = m_timers->running.find(id);
    if (found == m_timers->running.end()) {
        return;
    }
    found->second->stop();
    found->second.release()->deleteLater();
    m_timers->running.erase(found);
}

QDateTime SystemClock::dateFromEnvironment() {
    const QDateTime date = QDateTime::fromString(qEnvironmentVariable("LUMBRO_NOW"), Qt::ISODate);
    return date.isValid() ? date.toLocalTime() : date;
}

}  // namespace lumbro
