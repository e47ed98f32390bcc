#pragma once

#include "cli/Runner.h"

/// The commands that have the agent read captures into the memory.
namespace lumbro::cli {

Task<int> memoryUpdate(CommandContext context);
Task<int> memoryCatchUp(CommandContext context);

}  // namespace lumbro::cli
