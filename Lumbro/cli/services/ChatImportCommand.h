#pragma once

#include "cli/Runner.h"

/// The import of chats with Claude Code.
namespace lumbro::cli {

Task<int> chatsImport(CommandContext context);

}  // namespace lumbro::cli
