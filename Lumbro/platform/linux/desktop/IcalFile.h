#pragma once

#include "platform/CalendarStore.h"
#include "platform/TaskStore.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <memory>
#include <vector>

namespace lumbro {

class IcalBudget;
class IcalSeries;

/// When an event occurs, in seconds since 1970. Dates are made of it only where they are asked for, as that
/// takes longer than all else.
struct IcalOccurrence {
    qint64 start = 0;
    qint64 end = 0;
    /// Without its times.
    std::shared_ptr<const CalendarEvent> about;

    CalendarEvent event() const;
};

/// The items of one calendar file, as RFC 5545 describes it. Reading takes bounded time whatever the bytes
/// are. One thread at a time, for all files together.
class IcalFile {
  public:
    /// A larger file is not read.
    static constexpr qint64 mostBytes = qint64(64) * 1024 * 1024;

    /// Any bytes; what can't be understood is left out. `ownEmail` tells which attendee is the user.
    static IcalFile read(const QByteArray& bytes, const QString& ownEmail);

    /// True when the file ends as it should: one that doesn't may be written at this moment.
    bool isWhole() const { return m_isWhole; }
    /// Why nothing of it was taken.
    enum class Fault { none, noCalendar, tooMuch };
    Fault fault() const { return m_fault; }
    /// An event repeats by a rule that isn't followed.
    bool isCut() const { return m_isCut; }
    /// Events that repeat change more often, or by more, than is followed.
    bool lacksChanges() const { return m_lacksChanges; }
    /// Names the calendar that all events are in, and their file.
    void setPlace(const QString& calendar, const QString& path);
    /// Adds every occurrence that touches the time from `from` to before `to` (seconds since 1970); of what
    /// repeats, no more than the budget allows.
    void addOccurrences(qint64 from, qint64 to, IcalBudget& budget, std::vector<IcalOccurrence>& found) const;
    /// The user has this address too.
    void markUser(const QString& email);
    const QList<CalendarTask>& tasks() const { return m_tasks; }
    bool hasEvents() const { return !m_events.empty(); }

    /// A file with one event or one task, in UTF-8. `id` is its UID, `stamp` the time of writing.
    static QByteArray written(const NewCalendarEvent& event, const QString& id, const QDateTime& stamp);
    static QByteArray written(const CalendarTask& task, const QString& id, const QDateTime& stamp);
    /// A text as it reads back after it was written: without blanks around it, and without what no file
    /// holds.
    static QString textAsRead(const QString& text);

  private:
    struct Entry {
        std::shared_ptr<CalendarEvent> event;
        std::shared_ptr<const IcalSeries> series;
    };
    struct Reader;

    std::vector<Entry> m_events;
    QList<CalendarTask> m_tasks;
    bool m_isWhole = false;
    Fault m_fault = Fault::none;
    bool m_isCut = false;
    bool m_lacksChanges = false;
};

}  // namespace lumbro
