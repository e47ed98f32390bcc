#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Runs an engine on a capture and prints what it wrote.
Task<int> engineRun(CommandContext context);

}  // namespace lumbro::cli
