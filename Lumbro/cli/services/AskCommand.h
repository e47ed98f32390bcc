#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Asks a question about the library and prints the answer.
Task<int> ask(CommandContext context);

}  // namespace lumbro::cli
