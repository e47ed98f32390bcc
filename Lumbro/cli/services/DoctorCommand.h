#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Checks what recording and notes need, and says what to do.
Task<int> doctor(CommandContext context);

}  // namespace lumbro::cli
