#pragma once

#include "actions/formats/Connector.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <iterator>
#include <optional>

namespace lumbro {

/// What Claude Code tells of its connectors at the start of a run.
struct ConnectorInit {
    struct Server {
        QString name;
        Connector::Status status = Connector::Status::unknown;

        bool operator==(const Server&) const = default;
    };

    QList<Server> servers{};
    /// Full names, those of servers alone.
    QStringList tools{};

    bool operator==(const ConnectorInit&) const = default;

    /// Nothing when the line is no such event.
    static std::optional<ConnectorInit> fromLine(const QByteArray& line);
    /// A line that gives the same back.
    QByteArray toLine() const;
};

/// By server name: the configuration to run a server of the user's own with, out of the bytes of
/// ".claude.json". Any bytes give a map.
QMap<QString, QString> localConnectorConfigs(const QByteArray& bytes);

/// Those of the connectors that are wanted, in their order.
template <typename IsWanted>
QList<Connector> chosen(const QList<Connector>& all, const IsWanted& isWanted) {
    QList<Connector> list;
    std::ranges::copy_if(all, std::back_inserter(list), isWanted);
    return list;
}

/// The connectors to offer: those of the account first, then the user's own servers of known apps that have
/// no account connector.
QList<Connector> connectorList(const ConnectorInit& init, const QMap<QString, QString>& localConfigs);

}  // namespace lumbro
