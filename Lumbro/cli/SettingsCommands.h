#pragma once

#include "cli/Runner.h"

/// The commands over the user's settings.
namespace lumbro::cli {

Task<int> settingsList(CommandContext context);
Task<int> settingsGet(CommandContext context);
Task<int> settingsSet(CommandContext context);

}  // namespace lumbro::cli
