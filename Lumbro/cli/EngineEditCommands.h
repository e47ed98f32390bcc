#pragma once

#include "cli/Runner.h"
#include "engines/formats/Engine.h"

/// The commands that change and remove engine files.
namespace lumbro::cli {

Task<int> engineEdit(CommandContext context);
Task<int> engineDelete(CommandContext context);

/// Prints an engine that was saved, and what is still missing for it to work.
void printSaved(const CommandContext& context, const Engine& engine, const QString& libraryRoot);
/// Says what the command takes. Gives the status of wrong usage.
int refuseUsage(Output& output, const QString& sentence, const QString& command);

}  // namespace lumbro::cli
