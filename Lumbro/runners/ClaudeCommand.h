#pragma once

#include "runners/AgentRequest.h"

#include <QProcessEnvironment>

/// How a request becomes a command line of Claude Code.
namespace lumbro::claude {

/// The tools' bare names for `--tools`: "Bash(git status:*)" gives "Bash"; each name once, in first order.
QStringList toolNames(const QStringList& tools);

/// All arguments, in the order that the tool is run with.
QStringList arguments(const AgentRequest& request);

/// The environment for the executable at this path. What the user has set stays as it is.
QProcessEnvironment environment(const QString& executable);

}  // namespace lumbro::claude
