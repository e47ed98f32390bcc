#pragma once

#include "platform/CalendarStore.h"
#include "platform/TaskStore.h"

#include <QByteArray>

#include <optional>

/// What our own reader finds in a calendar file, against what was meant to stand there: an event or task that
/// we can't read again must not count as added. Any thread.
namespace lumbro::readBack {

/// The id of the file's one event; nothing when there is none, or it is another one.
std::optional<QString> idOf(const QByteArray& file, const NewCalendarEvent& event);
/// The file's one task; nothing when there is none, or it is another one. It may be done meanwhile.
std::optional<CalendarTask> taskOf(const QByteArray& file, const CalendarTask& task);

}  // namespace lumbro::readBack
