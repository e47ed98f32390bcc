#pragma once

#include <QString>
#include <QStringList>

namespace lumbro {

/// What the names of an account's tools begin with, without the "__" that follows: "claude.ai Slack" gives
/// "mcp__claude_ai_Slack". Every character but ASCII letters, digits, "_" and "-" becomes "_"; for a name
/// that begins with "claude.ai " runs of "_" are one, and none stands at the ends. Fits
/// `AgentConnectors::allow` and `AgentRequest::requireTools`.
QString mcpPrefix(const QString& accountName);

/// What a tool's name holds, in lower case, when it deletes or puts away.
const QStringList& deletionWords();

/// Patterns for `AgentRequest::disallowed` that keep a connector from deleting, whatever tools it has.
/// `prefix` is what `mcpPrefix` gave.
QStringList deletionPatterns(const QString& prefix);

}  // namespace lumbro
