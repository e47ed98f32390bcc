#include "tests/support/TestClock.h"

#include "tests/support/Wait.h"

namespace lumbro::test {

TestClock::TestClock(QDateTime start) : m_start(std::move(start)) {}

Clock::TimerId TestClock::startTimer(Duration delay, Repeat repeat, std::function<void()> action) {
    m_timers.emplace(++m_lastId, Entry{m_elapsed + delay, delay, repeat, std::move(action)});
    return m_lastId;
}

void TestClock::stopTimer(TimerId id) {
    m_timers.erase(id);
}

void TestClock::advance(Duration by) {
    const Duration end = m_elapsed + by;
    processEvents();
    while (true) {
        const auto next =
            std::ranges::min_element(m_timers, {}, [](const auto& item) { return item.second.due; });
        if (next == m_timers.end() || next->second.due > end) {
            break;
        }
        m_elapsed = std::max(m_elapsed, next->second.due);
        const auto action = next->second.action;
        if (next->second.repeat == Repeat::always) {
            next->second.due += std::max(next->second.interval, Duration(1));
        } else {
            m_timers.erase(next);
        }
        action();
        processEvents();
    }
    m_elapsed = end;
    processEvents();
}

}  // namespace lumbro::test
