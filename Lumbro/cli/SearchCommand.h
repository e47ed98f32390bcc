#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// `search QUERY`: what in the library holds every word of the query.
Task<int> search(CommandContext context);

}  // namespace lumbro::cli
