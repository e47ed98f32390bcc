#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Has the brief for a meeting written and prints it; then joins the meeting when that is on and the user
/// says yes.
Task<int> prepCommand(CommandContext context);

}  // namespace lumbro::cli
