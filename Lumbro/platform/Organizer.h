#pragma once

#include "platform/CalendarStore.h"
#include "platform/TaskStore.h"

namespace lumbro {

/// A place that keeps both the user's events and tasks. Main thread.
class Organizer : public CalendarStore, public TaskStore {
  public:
    /// Where it is kept, for people: a folder, or a program.
    virtual QString place() const = 0;
    /// Sentences for the user about what is missing in the last answer of `events`, and why.
    virtual QStringList leftOut() const { return {}; }
    /// The calendars that new events may go to, by the setting `calendarDefault`.
    virtual QList<CalendarList> calendars() const = 0;
    /// A sentence for the user where another program's choice for new events can't be followed; else empty.
    virtual QString aboutDefault() const { return {}; }
};

}  // namespace lumbro
