#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Lists microphones, outputs, and who uses the microphone now.
Task<int> devices(CommandContext context);

}  // namespace lumbro::cli
