#pragma once

#include "cli/Runner.h"

/// The commands that carry prepared drafts into the user's calendar, tasks and mail, and what they need of
/// the calendar.
namespace lumbro::cli {

Task<int> tasksAdd(CommandContext context);
Task<int> eventAdd(CommandContext context);
Task<int> mailDraftCommand(CommandContext context);
Task<int> freeTimesCommand(CommandContext context);

}  // namespace lumbro::cli
