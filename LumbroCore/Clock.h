#pragma once

#include "LumbroCore/Task.h"

#include <QDateTime>

#include <chrono>
#include <functional>
#include <memory>

namespace lumbro {

/// Time as the application sees it: the date, and timers on the main thread. Tests put their own in place.
class Clock {
  public:
    using Duration = std::chrono::milliseconds;
    using TimerId = quint64;
    enum class Repeat { once, always };

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    /// The wall clock, in the local time zone.
    virtual QDateTime now() const = 0;
    /// Time since some fixed moment; never goes back.
    virtual Duration elapsed() const = 0;
    /// Calls `action` on the main thread after `delay`, once or again and again.
    virtual TimerId startTimer(Duration delay, Repeat repeat, std::function<void()> action) = 0;
    /// Nothing of the timer runs after this. Unknown ids are ignored.
    virtual void stopTimer(TimerId id) = 0;

    /// Suspends the flow for `delay`.
    Task<> sleep(Duration delay);
};

/// Owns one timer of a clock and stops it when it goes. Empty until `start`.
class Timer {
  public:
    Timer() = default;
    Timer(Timer&& other) noexcept;
    Timer& operator=(Timer&& other) noexcept;
    ~Timer() { stop(); }

    /// Replaces a running timer. The clock must outlive this.
    void start(Clock& clock, Clock::Duration delay, Clock::Repeat repeat, std::function<void()> action);
    void stop();
    bool isRunning() const { return m_clock != nullptr; }

  private:
    Clock* m_clock = nullptr;
    Clock::TimerId m_id = 0;
};

/// The machine's clock. With a fixed date, `now` stands still at it (for scripts); timers run as ever.
class SystemClock final : public Clock {
  public:
    explicit SystemClock(QDateTime fixedNow = {});
    ~SystemClock() override;

    QDateTime now() const override;
    Duration elapsed() const override;
    TimerId startTimer(Duration delay, Repeat repeat, std::function<void()> action) override;
    void stopTimer(TimerId id) override;

    /// The date in the environment variable LUMBRO_NOW ("yyyy-MM-ddTHH:mm:ss", local time), or an invalid
    /// one when it is absent or cannot be read.
    static QDateTime dateFromEnvironment();

  private:
    struct Timers;
    QDateTime m_fixedNow;
    std::unique_ptr<Timers> m_timers;
};

}  // namespace lumbro
