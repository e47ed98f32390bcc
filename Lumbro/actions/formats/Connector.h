#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// An app that the user's own Claude Code can reach: a server that it told us of.
struct Connector {
    enum class Status { unknown, connected, needsLogin, failed };

    /// The server's name as Claude Code gives it.
    QString id{};
    /// The name for people.
    QString app{};
    /// A symbol's name.
    QString icon{};
    /// Configuration to run it with, for a server of the user's own; none for one of their account.
    std::optional<QString> config{};
    Status status = Status::unknown;
    /// One of the known apps.
    bool featured = false;
    /// The full names of its tools; empty where they aren't known.
    QStringList tools{};

    bool operator==(const Connector&) const = default;

    /// What its tools' names begin with, without the "__" that follows.
    QString allow() const;
    /// A tool of this full name deletes or puts away.
    bool isDestructive(const QString& tool) const;
    /// Those of its tools that delete or put away.
    QStringList destructiveTools() const;
    /// What a run that must not delete is denied: patterns for all tools of the server that do, since those
    /// that are known may not be all, and the known ones.
    QStringList deletionGuard() const;
    /// A failed one can't be sent to; one that waits for a login is offered.
    bool isUsable() const { return status != Status::failed; }
    /// What to do with a capture, for the user to change.
    QString defaultInstruction() const;

    static QString rawValue(Status status);
    /// The status that Claude Code's word for it stands for.
    static Status statusFrom(const QString& word);
    static QString wordFor(Status status);
};

/// A name and symbol of an app that is known by a piece of its server's name.
struct KnownApp {
    QString key;
    QString app;
    QString icon;

    /// The first of the table whose key the name holds, in any case; null when none does.
    static const KnownApp* find(const QString& serverName);
    /// The symbol of all other apps.
    static QString defaultIcon();
};

}  // namespace lumbro
