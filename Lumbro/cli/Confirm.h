#pragma once

#include "LumbroCore/Task.h"
#include "cli/Output.h"

#include <QString>

namespace lumbro::cli {

/// What the user says to a question, or that there is no terminal to ask on.
enum class Answer { yes, no, noTerminal };

/// Asks on the terminal and waits for a line: only one that begins with "y" is a yes. The question goes past
/// both outputs. It is asked where standard error is a terminal, or standard input.
Task<Answer> askOnTerminal(QString question);

/// The same for a command whose flag `--yes` answers it. Nothing when the command may go on, else its exit
/// status, with a sentence that begins with `refusal`, such as "Nothing was added".
Task<std::optional<int>> refusedOnTerminal(Output* output, bool saidYes, QString question, QString refusal);

}  // namespace lumbro::cli
