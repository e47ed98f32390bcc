#pragma once

#include "cli/Runner.h"

/// The commands over chats with Claude Code that need no agent.
namespace lumbro::cli {

Task<int> chatsRead(CommandContext context);

}  // namespace lumbro::cli
