#pragma once

#include "cli/Runner.h"
#include "cli/services/RecordingPlan.h"

/// The commands that make captures.
namespace lumbro::cli {

Task<int> record(CommandContext context);
/// The same with a plan of its own.
Task<int> recordPlan(CommandContext context, RecordingPlan plan);
Task<int> importFile(CommandContext context);
Task<int> demo(CommandContext context);

}  // namespace lumbro::cli
