#pragma once

#include "runners/AgentRequest.h"

#include <QProcessEnvironment>

/// How a request becomes a command line of Codex.
namespace lumbro::codex {

/// "low" for a model like "haiku", "high" for one like "opus", else "medium".
QString effort(const QString& model);

/// The text as a basic string of TOML, with its quotes. Raw UTF-8 but for the quote, the backslash and
/// control characters: other escapes of JSON are not TOML, and would reach the model as they stand.
QString tomlString(const QString& text);

/// All arguments, in the order that the tool is run with.
QStringList arguments(const AgentRequest& request, const QString& workingDirectory);

QProcessEnvironment environment(const QString& executable);

}  // namespace lumbro::codex
