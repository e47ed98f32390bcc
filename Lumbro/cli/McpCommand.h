#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Serves the library to one client of the Model Context Protocol on standard input and output until that
/// ends.
Task<int> mcp(CommandContext context);

}  // namespace lumbro::cli
