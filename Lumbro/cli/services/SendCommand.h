#pragma once

#include "cli/Runner.h"

namespace lumbro::cli {

/// `send CONNECTOR --from SOURCE`: has the agent do something in a connected app, and waits for its end.
Task<int> send(CommandContext context);
/// `runs retry ID`: sends the same work again.
Task<int> runsRetry(CommandContext context);

}  // namespace lumbro::cli
