#pragma once

#include "platform/CalendarStore.h"

#include <coroutine>
#include <utility>
#include <vector>

namespace lumbro::test {

/// A calendar that holds what a test puts into it. Closed, it answers only when told to.
class FakeCalendar final : public CalendarStore {
  public:
    CalendarAccess granted = CalendarAccess::full;
    QList<CalendarEvent> held;
    bool isClosed = false;
    /// How often it was read.
    int readings = 0;

    CalendarEvent& put(const QString& id, const QString& title, const QDateTime& start, int minutes = 30,
                       const QStringList& names = {QStringLiteral("Ann Lee")}) {
        CalendarEvent event{.id = id, .title = title, .start = start, .end = start.addSecs(60 * minutes)};
        for (const QString& name : names) {
            event.attendees.append({.name = name});
        }
        held.append(event);
        return held.last();
    }
    void tellChanged() { Q_EMIT changed(); }
    /// Gives the answer to the oldest reading that waits.
    void answer() {
        const auto waiting = m_waiting.front();
        m_waiting.erase(m_waiting.begin());
        waiting.resume();
    }

    CalendarAccess access() const override { return granted; }
    Task<CalendarAccess> requestAccess() override {
        granted = CalendarAccess::full;
        co_return granted;
    }
    Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) override {
        ++readings;
        QList<CalendarEvent> found = held;
        found.removeIf([&](const CalendarEvent& event) { return event.end <= from || event.start >= to; });
        if (isClosed) {
            co_await Turn{m_waiting};
        }
        co_return std::move(found);
    }
    std::optional<CalendarList> defaultCalendar() const override { return std::nullopt; }
    Task<Result<AddedCalendarItem>> add(NewCalendarEvent) override {
        co_return fail(QStringLiteral("This calendar takes no events."));
    }

  private:
    struct Turn {
        std::vector<std::coroutine_handle<>>& waiting;

        bool await_ready() const { return false; }
        void await_suspend(std::coroutine_handle<> handle) { waiting.push_back(handle); }
        void await_resume() const {}
    };

    std::vector<std::coroutine_handle<>> m_waiting;
};

}  // namespace lumbro::test
