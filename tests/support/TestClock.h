#pragma once

#include "LumbroCore/Clock.h"

#include <QDateTime>

#include <map>

namespace lumbro::test {

/// A clock that stands still until it is advanced; timers that fall due fire in the order of their time.
class TestClock final : public Clock {
  public:
    explicit TestClock(QDateTime start = QDateTime(QDate(2026, 3, 2), QTime(9, 14, 5)));

    QDateTime now() const override { return m_start.addMSecs(m_elapsed.count()); }
    Duration elapsed() const override { return m_elapsed; }
    TimerId startTimer(Duration delay, Repeat repeat, std::function<void()> action) override;
    void stopTimer(TimerId id) override;

    /// Moves the time on, firing what falls due, and lets queued events run after each step.
    void advance(Duration by);
    /// Sets the wall clock, as a user or a time server would; timers don't notice.
    void setNow(const QDateTime& now) { m_start = now.addMSecs(-m_elapsed.count()); }
    /// How many timers are running.
    size_t timerCount() const { return m_timers.size(); }

  private:
    struct Entry {
        Duration due;
        Duration interval;
        Repeat repeat;
        std::function<void()> action;
    };

    QDateTime m_start;
    Duration m_elapsed{0};
    TimerId m_lastId = 0;
    std::map<TimerId, Entry> m_timers;
};

}  // namespace lumbro::test
