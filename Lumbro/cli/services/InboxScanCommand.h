#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// Works on the files that lie in watched folders, and tells what became of each.
Task<int> inboxScan(CommandContext context);

}  // namespace lumbro::cli
