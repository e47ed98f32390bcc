#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Makes an engine, written by the agent where the user says what it should do.
Task<int> engineNew(CommandContext context);

}  // namespace lumbro::cli
