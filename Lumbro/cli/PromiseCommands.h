#pragma once

#include "cli/Runner.h"

/// The commands over promises.
namespace lumbro::cli {

Task<int> promises(CommandContext context);
Task<int> promisesDone(CommandContext context);
Task<int> promisesReopen(CommandContext context);
Task<int> promisesSnooze(CommandContext context);
Task<int> promisesNudge(CommandContext context);

}  // namespace lumbro::cli
