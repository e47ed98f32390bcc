#pragma once

#include "LumbroCore/ChildProcess.h"
#include "LumbroCore/Failure.h"

#include <QString>

#include <optional>

/// What is told of a run that failed, beside the sentence for the user.
namespace lumbro::agents {

/// How a process ended, in a few words: "exit status 2: <last line of its error output>". What `message`
/// holds already is left out.
QString endText(const ChildExit& exit, const QString& message);

/// `absent`, the failure of an agent that isn't installed, with what kept it from being found where that is
/// known; a cancelled search stays cancelled.
Failure notFound(Failure absent, const Failure& search);

/// Adds to a failure how the process ended, where there was one, and takes the secrets out of both, so
/// that it may be shown and kept by every caller; logs it. Answers and cancelled runs pass as they are.
/// `tool` names the program in the log.
Result<QString> explained(const QString& tool, Result<QString> result,
                          const std::optional<ChildExit>& exit = std::nullopt);

}  // namespace lumbro::agents
