#include "actions/formats/ConnectorList.h"

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace lumbro {

namespace {

/// What Claude Code puts before the names of the account's connectors.
constexpr QStringView accountPrefix = u"claude.ai ";

QStringList toolsOf(const Connector& connector, const QStringList& tools) {
    const QString prefix = connector.allow() + u"__"_s;
    QStringList found;
    std::ranges::copy_if(tools, std::back_inserter(found),
                         [&](const QString& tool) { return tool.startsWith(prefix); });
    return found;
}

Connector accountConnector(const ConnectorInit::Server& server) {
    const QString name = server.name.sliced(accountPrefix.size());
    const KnownApp* known = KnownApp::find(name);
    return {.id = server.name,
            .app = known != nullptr ? known->app : name,
            .icon = known != nullptr ? known->icon : KnownApp::defaultIcon(),
            .config = std::nullopt,
            .status = server.status,
            .featured = known != nullptr,
            .tools = {}};
}

}  // namespace

std::optional<ConnectorInit> ConnectorInit::fromLine(const QByteArray& line) {
    const QJsonObject json = json::object(line);
    if (json.value(u"subtype").toString() != u"init") {
        return std::nullopt;
    }
    ConnectorInit init;
    for (const QJsonValue tool : json.value(u"tools").toArray()) {
        if (tool.toString().startsWith(u"mcp__")) {
            init.tools << tool.toString();
        }
    }
    for (const QJsonValue server : json.value(u"mcp_servers").toArray()) {
        const QJsonValue name = server[u"name"];
        if (name.isString()) {
            init.servers << Server{name.toString(), Connector::statusFrom(server[u"status"].toString())};
        }
    }
    return init;
}

QByteArray ConnectorInit::toLine() const {
    QJsonArray all;
    for (const Server& server : servers) {
        all << QJsonObject{{u"name"_s, server.name}, {u"status"_s, Connector::wordFor(server.status)}};
    }
    return json::encodeCompact(QJsonObject{
        {u"subtype"_s, u"init"_s}, {u"tools"_s, QJsonArray::fromStringList(tools)}, {u"mcp_servers"_s, all}});
}

QMap<QString, QString> localConnectorConfigs(const QByteArray& bytes) {
    const QString key = u"mcpServers"_s;
    const QJsonObject servers = json::object(bytes).value(key).toObject();
    QMap<QString, QString> configs;
    for (auto server = servers.begin(); server != servers.end(); ++server) {
        const QJsonObject config{{key, QJsonObject{{server.key(), server.value()}}}};
        configs.insert(server.key(), QString::fromUtf8(json::encodeCompact(config)));
    }
    return configs;
}

QList<Connector> connectorList(const ConnectorInit& init, const QMap<QString, QString>& localConfigs) {
    QList<Connector> list;
    const auto add = [&](Connector connector) {
        connector.tools = toolsOf(connector, init.tools);
        list << std::move(connector);
    };
    for (const auto& server : init.servers) {
        if (server.name.startsWith(accountPrefix)) {
            add(accountConnector(server));
        }
    }
    const auto isListed = [&](const QString& app) {
        return std::ranges::any_of(list, [&](const Connector& each) { return each.app == app; });
    };
    for (const auto& server : init.servers) {
        const KnownApp* known = KnownApp::find(server.name);
        const auto config = localConfigs.constFind(server.name);
        if (server.name.startsWith(accountPrefix) || known == nullptr || config == localConfigs.cend() ||
            isListed(known->app)) {
            continue;
        }
        add({.id = server.name,
             .app = known->app,
             .icon = known->icon,
             .config = *config,
             .status = server.status,
             .featured = true,
             .tools = {}});
    }
    return list;
}

}  // namespace lumbro
