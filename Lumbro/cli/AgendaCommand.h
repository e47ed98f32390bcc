#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// The meetings through tomorrow.
Task<int> agendaCommand(CommandContext context);

}  // namespace lumbro::cli
