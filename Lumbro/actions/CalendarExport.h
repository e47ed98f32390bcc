#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/EventDraft.h"
#include "platform/CalendarStore.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

namespace lumbro {

/// A span of time without an event, within working hours.
struct FreeTime {
    QDateTime start;
    QDateTime end;

    bool operator==(const FreeTime&) const = default;
};

/// What answers need of the calendar, and the way of an event into it. Main thread; the store must outlive
/// what is awaited. Without access everything is empty.
namespace calendarExport {

/// The text for a question's input: today's date, and the free times of at least half an hour on the next
/// five weekdays with their heading where there are any.
Task<QString> context(CalendarStore* store, QDateTime now);
/// The same text of other free times.
QString contextOf(const QList<FreeTime>& free, const QDateTime& now);
/// The free times of at least `minutes` on the next `workDays` days of the week, 9:00 to 17:00 local time;
/// none starts within the next hour.
Task<QList<FreeTime>> freeTimes(CalendarStore* store, int workDays, int minutes, QDateTime from);
/// Titles of the events that make the user busy during the draft, by their start.
Task<QStringList> conflicts(CalendarStore* store, EventDraft draft);

/// How adding an event ended.
struct Added {
    /// An event of this title at this time was there before; nothing was written.
    bool existed = false;
    AddedCalendarItem item;

    bool operator==(const Added&) const = default;
};
/// Books the draft unless it is there already. Asks for access where that is needed. The guests are named in
/// the event's notes and not invited. Fails with a sentence for the user.
Task<Result<Added>> add(CalendarStore* store, EventDraft draft, QString note);

}  // namespace calendarExport

}  // namespace lumbro
