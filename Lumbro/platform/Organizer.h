#pragma once

#include "platform/CalendarStore.h"
#include "platform/TaskStore.h"

namespace lumbro {

/// A place that keeps both the user's events and tasks. Main thread.
class Organizer : public CalendarStore, public TaskStore {};

}  // namespace lumbro
