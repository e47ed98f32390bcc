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
/// The entries for people.
QString inboxTable(const Output& output, const QList<InboxRun>& runs);

}  // namespace lumbro::cli
