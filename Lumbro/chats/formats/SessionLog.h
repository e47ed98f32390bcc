#pragma once

#include "chats/formats/SessionEntry.h"
#include "library/formats/CaptureMeta.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// The two files of a session capture: "session.json", the entries, and "session.md", the same for reading.
/// Pure functions; any thread.
struct SessionLog {
    SessionLog() = delete;

    /// Names of the files in the capture's folder.
    static QString jsonName() { return QStringLiteral("session.json"); }
    static QString markdownName() { return QStringLiteral("session.md"); }

    /// The content of "session.json".
    static QByteArray encode(const SessionEntries& entries);
    /// The reverse; nothing when the bytes hold anything but a list of entries.
    static std::optional<SessionEntries> decode(const QByteArray& bytes);

    /// The content of "session.md": the chats one after the other under their titles.
    static QString markdown(const SessionEntries& entries, const QString& title);
    /// The entries by chat, each chat sorted by time, the chats by the time of their first entry.
    static QList<SessionEntries> grouped(const SessionEntries& entries);
    /// The entries later than the capture's `sessionCursor`: those that memory has not read.
    static SessionEntries unread(const SessionEntries& entries, const CaptureMeta& meta);
};

}  // namespace lumbro
