#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

/// What the agents' texts have in common: sentences, limits, and words that are safe on a command line.
namespace lumbro::agents {

Failure notInstalled();
Failure notLoggedIn();
Failure timedOut();
Failure cancelled();
Failure toolsNotReady();
Failure toolNotDenied(const QString& tool);

/// `bytes` as text, trimmed; empty when they are not UTF-8. Only the first MiB, which is plenty for a reason.
QString reasonText(const QByteArray& bytes);

/// The failure that a text of Claude Code stands for.
Failure classify(const QString& text);

/// What may be shown, logged and kept of a text in which an agent gives a reason: without secrets, and its
/// first `count` characters at most.
QString shown(const QString& text, qsizetype count);

/// The instruction as one plain word of a command line: a leading "-" would make it an option and a leading
/// "/" a command of the tool's own, so a blank stands before these.
QString plainInstruction(const QString& instruction);

/// A failure when an argument is longer than the system lets a program be given (128 KiB). `tool` names the
/// program in the sentence.
Result<> checkArguments(const QString& tool, const QStringList& arguments);

/// Valid UTF-8, without the characters that can't be on a command line.
QString argument(const QString& text);

}  // namespace lumbro::agents
