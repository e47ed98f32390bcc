#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Prints the end of the application's log, and what comes on it.
Task<int> log(CommandContext context);

}  // namespace lumbro::cli
