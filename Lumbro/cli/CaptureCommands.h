#pragma once

#include "cli/Runner.h"

/// The commands over captures that need nothing but the library's files.
namespace lumbro::cli {

Task<int> captures(CommandContext context);
Task<int> show(CommandContext context);
Task<int> rename(CommandContext context);
Task<int> deleteCapture(CommandContext context);

}  // namespace lumbro::cli
