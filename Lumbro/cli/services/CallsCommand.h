#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Tells when calls start and end, until it is stopped.
Task<int> callsWatch(CommandContext context);

}  // namespace lumbro::cli
