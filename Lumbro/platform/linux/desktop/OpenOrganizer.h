#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/Organizer.h"

#include <memory>

namespace lumbro {

/// The user's calendars and tasks, where the settings say that they are kept. Both arguments must outlive it.
std::unique_ptr<Organizer> openOrganizer(Settings& settings, Clock& clock);

}  // namespace lumbro
