#pragma once

#include "LumbroCore/Clock.h"

#include <QString>

#include <optional>

namespace lumbro {

/// Runs a command in the user's login shell, with their start files read, and gives the last line that it
/// printed, without blanks around it. None when there is no line, or no end within 10 seconds. Main thread;
/// the clock must outlive it.
Task<std::optional<QString>> loginShellLine(QString command, Clock& clock);

}  // namespace lumbro
