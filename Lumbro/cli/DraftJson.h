#pragma once

#include "actions/formats/ActionItem.h"
#include "actions/formats/EmailDraft.h"
#include "actions/formats/EventDraft.h"
#include "cli/Output.h"

#include <QJsonArray>
#include <QJsonObject>

/// Drafts as commands print them.
namespace lumbro::cli {

/// `owner`, `task`, `due`, `include`.
QJsonObject draftJson(const ActionItem& item);
QJsonArray draftJson(const QList<ActionItem>& items);
/// `title`, `start`, `minutes`, `with`, `names`, `emails`, `whenText`.
QJsonObject draftJson(const EventDraft& draft);
/// `to`, `subject`, `body`.
QJsonObject draftJson(const EmailDraft& draft);

/// For people: a line each, those that are the user's with a mark.
QString draftText(const Output& output, const QList<ActionItem>& items);
/// The event's title, time and guests, the titles of what it clashes with, and what may be a slip in it.
QString draftText(const Output& output, const EventDraft& draft, const QStringList& clashes,
                  const QStringList& oddities);
/// The mail as a mail program shows it.
QString draftText(const Output& output, const EmailDraft& draft);

}  // namespace lumbro::cli
