#pragma once

#include "platform/CalendarService.h"

#include <QString>
#include <QStringList>

#include <memory>

/// The module that reaches Evolution's calendars. Main thread.
namespace lumbro::calendarModule {

/// Where it may be: beside the program, and where an installation has it.
QStringList places();

/// Loads the first of these files that is there, and starts its service. Fails with a sentence for the user.
Result<std::unique_ptr<CalendarService>> load(const QStringList& paths);

/// What ends every sentence about calendars that can't be had from Evolution.
QString orFolder();

}  // namespace lumbro::calendarModule
