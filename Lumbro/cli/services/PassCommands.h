#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// The promises that are due, as the morning's reminder shows them.
Task<int> remind(CommandContext context);
/// Content ideas in what was captured today.
Task<int> ideasToday(CommandContext context);

}  // namespace lumbro::cli
