#pragma once

#include "LumbroCore/Task.h"
#include "cli/Arguments.h"
#include "cli/Output.h"

#include <span>
#include <string_view>

namespace lumbro::cli {

/// What a command works with. The output outlives the command.
struct CommandContext {
    Output& output;
    Arguments arguments;
};

/// Runs a command and gives its exit status: 0 done, 1 it failed.
using CommandFunction = Task<int> (*)(CommandContext context);

/// A command's name and what runs it.
struct CommandEntry {
    std::string_view name;
    CommandFunction function;
};

/// The exit status of wrong usage.
constexpr int wrongUsage = 2;

/// The start of both programs: private files, no death by a closed pipe, UTF-8. Before anything else.
void prepareProcess();

/// Whether the environment's date can be read; says so when not.
bool checkEnvironment(Output& output);

/// Runs one command of `entries` on an event loop of its own, to its end. Answers help and wrong usage by
/// itself (0 and 2). `words` are the program's arguments. A command that is known but not in `entries` is
/// handed to `otherwise`, which may never return.
int runCommand(int& argc, char** argv, std::span<const CommandEntry> entries, int (*otherwise)(char** argv));

}  // namespace lumbro::cli
