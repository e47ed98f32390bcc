#pragma once

#include "LumbroCore/Failure.h"
#include "platform/CalendarStore.h"
#include "platform/linux/desktop/KhalConfiguration.h"

#include <QList>
#include <QString>

/// Which of several calendars new events go to. Main thread.
namespace lumbro::defaultCalendar {

/// The calendar with this title, or, where several have it, with this id or folder name. Fails with a
/// sentence for the user that names those there are.
Result<CalendarList> named(const QList<CalendarList>& calendars, const QString& name);

/// khal's, among calendars whose ids are their folders; nothing where it is none of these.
std::optional<CalendarList> ofKhal(const QList<CalendarList>& calendars, const KhalConfiguration& khal);

}  // namespace lumbro::defaultCalendar
