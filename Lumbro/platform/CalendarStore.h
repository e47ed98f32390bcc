#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "platform/CalendarPlace.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <optional>

namespace lumbro {

/// What the user lets us do with a calendar. Only `full` reads or writes anything.
enum class CalendarAccess { notDetermined, denied, full };

/// Somebody or something that is invited to an event.
struct CalendarAttendee {
    enum class Kind { person, room, resource };
    enum class Answer { open, accepted, tentative, declined };

    /// As the event has it; may be empty.
    QString name{};
    /// Without "mailto:"; may be empty.
    QString email{};
    Kind kind = Kind::person;
    Answer answer = Answer::open;
    bool isCurrentUser = false;

    bool operator==(const CalendarAttendee&) const = default;
};

/// One occurrence of an event. Dates are in local time; an all-day event runs from midnight to midnight.
struct CalendarEvent {
    /// The same for all occurrences of a series; lasts as long as the event.
    QString id{};
    QString title{};
    QDateTime start{};
    QDateTime end{};
    bool isAllDay = false;
    bool isCanceled = false;
    /// The event does not make its owner busy.
    bool isFree = false;
    QList<CalendarAttendee> attendees{};
    QString location{};
    QString notes{};
    /// The event's own link, as it stands there; may be empty.
    QString url{};
    /// Name of the calendar that it is in.
    QString calendar{};
    /// The file that holds it, where the store has one.
    QString path{};

    bool operator==(const CalendarEvent&) const = default;

    bool isDeclinedByUser() const;
};

/// An event to be added. Ends after it starts.
struct NewCalendarEvent {
    QString title{};
    QDateTime start{};
    QDateTime end{};
    QString notes{};

    bool operator==(const NewCalendarEvent&) const = default;
};

/// The user's events. Main thread.
class CalendarStore : public QObject {
    Q_OBJECT

  public:
    /// Connects to where the events are kept, where that takes time, and gives the access there is then. Asks
    /// the user nothing. Comes before each use of the rest.
    virtual Task<CalendarAccess> open();
    /// As the last `open` or reading found it.
    virtual CalendarAccess access() const = 0;
    /// A sentence for the user: why there is less than full access, and what to do about it. May be empty.
    virtual QString whyNoAccess() const { return {}; }
    /// Asks the user once where that is needed, and gives the access there is then.
    virtual Task<CalendarAccess> requestAccess() = 0;

    /// Every occurrence that touches the time from `from` to before `to`, canceled, free and declined ones
    /// too, sorted by start and then by title. Empty without access, which `access` tells afterwards where it
    /// was lost. An item that can't be read is left out.
    virtual Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) = 0;
    /// The calendar that new events go to; nothing when there is none.
    virtual std::optional<CalendarList> defaultCalendar() const = 0;
    /// A sentence for the user: why there is none, and what to do about it. May be empty.
    virtual QString whyNoCalendar() const { return {}; }
    /// Waits until no other process of ours, and no other flow of this one, is adding. Fails when one takes
    /// long.
    virtual Task<Result<AddingTurn>> beginAdding();
    /// Adds one event to the default calendar and reads it back; the next `events` gives it.
    virtual Task<Result<AddedCalendarItem>> add(NewCalendarEvent event) = 0;

  Q_SIGNALS:
    /// Events were added, changed or removed, by us or by another program.
    void changed();
};

}  // namespace lumbro
