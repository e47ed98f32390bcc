#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// One request of a chat with Claude Code, and the last thing that was answered to it. Keys and tokens are
/// already hidden in its texts.
struct SessionEntry {
    /// Unique; the same request read again has the same.
    QString id;
    /// The chat it belongs to.
    QString session;
    /// The chat's title, when it has one.
    std::optional<QString> title;
    /// Short name of the project that `folder` belongs to.
    QString project;
    /// The working folder of the chat.
    QString folder;
    /// When it was asked; whole seconds, as they are stored.
    QDateTime time;
    /// What the person asked: at most 1200 characters.
    QString prompt;
    /// At most 900 characters; may be empty.
    QString reply;

    bool operator==(const SessionEntry&) const = default;

    /// Nothing when a required key is missing or any known key has the wrong type.
    static std::optional<SessionEntry> fromJson(const QJsonObject& json);
    QJsonObject toJson() const;
};

using SessionEntries = QList<SessionEntry>;

}  // namespace lumbro
