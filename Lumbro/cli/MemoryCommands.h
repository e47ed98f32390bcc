#pragma once

#include "cli/Runner.h"

/// The commands over the memory that need nothing but the library's files.
namespace lumbro::cli {

Task<int> people(CommandContext context);
Task<int> person(CommandContext context);
Task<int> projects(CommandContext context);
Task<int> project(CommandContext context);
Task<int> projectNew(CommandContext context);
Task<int> projectRename(CommandContext context);
Task<int> companies(CommandContext context);
Task<int> ideas(CommandContext context);
Task<int> memoryIndex(CommandContext context);

}  // namespace lumbro::cli
