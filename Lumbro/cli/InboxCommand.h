#pragma once

#include "cli/Runner.h"
#include "engines/InboxFolder.h"

#include <QJsonObject>
#include <QList>

/// What lies in watched folders and what became of it.
namespace lumbro::cli {

Task<int> inboxList(CommandContext context);

/// An entry of `inbox` and of `inbox scan`.
QJsonObject inboxJson(const InboxRun& run);
/// Prints the entries for people; of those that wait the first ones, and how many more there are.
void printInbox(Output& output, QList<InboxRun> runs);

}  // namespace lumbro::cli
