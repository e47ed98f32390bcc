#pragma once

#include "platform/CalendarService.h"
#include "platform/TaskStore.h"

#include <QDateTime>

/// What a calendar service holds, in our values: its items are read as calendar files are. On the service's
/// thread.
namespace lumbro::serviceReading {

struct Reading {
    ServiceLists lists;
    /// Sorted by start, title and id.
    QList<CalendarEvent> events;
    /// Sentences about calendars that can't be read, for the log.
    QStringList unread;
};

/// Every occurrence in the calendars that the user wants to see, from `from` to before `to`, in seconds since
/// 1970. Fails when none of them can be read.
Result<Reading> events(CalendarService& service, const QString& ownEmail, qint64 from, qint64 to);
Result<QList<CalendarTask>> tasks(CalendarService& service, const QString& list);

/// Adds one event, gives its id, and fails unless it reads back as it was given.
Result<QString> add(CalendarService& service, const QString& calendar, const NewCalendarEvent& event,
                    const QString& id, const QDateTime& now);
struct AddedTask {
    QString id;
    /// An open task with this id was there before; nothing was written for it.
    bool existed = false;
};
/// Adds tasks, whose ids are set, likewise: all, or none on failure. One that stands there under its id, and
/// isn't done, is not added again, so that what was given up can be tried anew.
Result<QList<AddedTask>> add(CalendarService& service, const QString& list, const QList<CalendarTask>& tasks,
                             const QDateTime& now);

}  // namespace lumbro::serviceReading
