#pragma once

#include "cli/Runner.h"

/// The commands over speech models.
namespace lumbro::cli {

Task<int> speechList(CommandContext context);
Task<int> speechInstall(CommandContext context);
Task<int> speechImport(CommandContext context);
Task<int> speechRemove(CommandContext context);
Task<int> speechUse(CommandContext context);

}  // namespace lumbro::cli
