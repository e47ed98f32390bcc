#pragma once

#include "memory/formats/IdeaItem.h"
#include "memory/formats/PromiseItem.h"

#include <QByteArray>
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// Reading and changing `promises.md` and `ideas.md`. Lines that are not concerned stay as they are, byte for
/// byte; new ones take the line ends of the file. Any bytes.
namespace lumbro::memoryLists {

/// What the files hold when they are made.
QByteArray newPromises();
QByteArray newIdeas();

QList<PromiseItem> promises(const QByteArray& file);
QList<IdeaItem> ideas(const QByteArray& file);

/// With lines at the end.
QByteArray withPromises(const QByteArray& file, const QStringList& lines);
/// With lines above the first idea.
QByteArray withIdeas(const QByteArray& file, const QStringList& lines);

/// With the box of the promise ticked or empty; nothing when no line has the id.
std::optional<QByteArray> withBox(const QByteArray& file, const QString& id, bool done);
/// With the promise snoozed until a day in place of an earlier one; nothing when no line has the id.
std::optional<QByteArray> withSnooze(const QByteArray& file, const QString& id, QDate until);

}  // namespace lumbro::memoryLists
