#pragma once

#include <QString>
#include <QStringList>

namespace lumbro {

/// The start of the names of an account's tools, up to and with the "__": "claude.ai Slack" gives
/// "mcp__claude_ai_Slack__". Every character but ASCII letters, digits, "_" and "-" becomes "_"; for a name
/// that begins with "claude.ai " runs of "_" are one, and none stands at the ends.
QString mcpPrefix(const QString& accountName);

/// Patterns for `disallowed` that keep a connector from deleting, for when its tools aren't known. `server`
/// is the name as it stands in the tool names, such as "claude_ai_Slack".
QStringList deletionPatterns(const QString& server);

}  // namespace lumbro
