#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/linux/desktop/OpenOrganizer.h"

#include <memory>

namespace lumbro::cli {

/// What the commands over calendars, tasks and mails work with.
struct Desk {
    SystemClock clock{SystemClock::dateFromEnvironment()};
    Settings settings;
    std::unique_ptr<Organizer> organizer = openOrganizer(settings, clock);
};

}  // namespace lumbro::cli
