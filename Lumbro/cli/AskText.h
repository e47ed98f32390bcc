#pragma once

#include "ask/formats/AskThread.h"
#include "cli/Output.h"

#include <QList>
#include <QString>

namespace lumbro::cli {

/// The list of conversations for people.
QString askTable(const Output& output, const QList<AskThread>& threads);
/// A whole conversation.
QString askText(const Output& output, const AskThread& thread);
/// The sources of an answer, each with the command that opens it; empty without any.
QString sourcesText(const Output& output, const QList<AskSource>& sources);

}  // namespace lumbro::cli
