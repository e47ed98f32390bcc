#pragma once

#include "cli/Runner.h"

/// The commands that make captures.
namespace lumbro::cli {

Task<int> record(CommandContext context);
Task<int> importFile(CommandContext context);
Task<int> demo(CommandContext context);

}  // namespace lumbro::cli
