#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// `settings set` where the setting is `speechModel`: it takes the id of a model that is known here, which
/// the program without the speech library can't tell.
Task<int> setSpeechSetting(CommandContext context);

}  // namespace lumbro::cli
