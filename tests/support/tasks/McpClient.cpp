#include "tests/support/tasks/McpClient.h"

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace lumbro::test {

namespace {

constexpr int patience = 20'000;

/// As Claude Code names the tools of a server.
QString prefixOf(const QString& server) {
    QString name = server;
    name.replace(QRegularExpression(u"[^a-zA-Z0-9_-]"_s), u"_"_s);
    if (server.startsWith(u"claude.ai ")) {
        name.replace(QRegularExpression(u"_+"_s), u"_"_s).remove(QRegularExpression(u"^_|_$"_s));
    }
    return u"mcp__%1__"_s.arg(name);
}

}  // namespace

McpClient::McpClient(const QString& server, const QJsonObject& config) : m_prefix(prefixOf(server)) {
    auto environment = QProcessEnvironment::systemEnvironment();
    const QJsonObject variables = config.value(u"env"_s).toObject();
    for (auto variable = variables.begin(); variable != variables.end(); ++variable) {
        environment.insert(variable.key(), variable.value().toString());
    }
    QStringList arguments;
    for (const QJsonValue argument : config.value(u"args"_s).toArray()) {
        arguments << argument.toString();
    }
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(config.value(u"command"_s).toString(), arguments);
    request(u"initialize"_s,
            {{u"protocolVersion"_s, u"2025-06-18"_s},
             {u"capabilities"_s, QJsonObject()},
             {u"clientInfo"_s, QJsonObject{{u"name"_s, u"test"_s}, {u"version"_s, u"1"_s}}}});
    send({{u"jsonrpc"_s, u"2.0"_s}, {u"method"_s, u"notifications/initialized"_s}});
}

McpClient::~McpClient() {
    m_process.closeWriteChannel();
    m_process.waitForFinished(patience);
}

QStringList McpClient::tools() {
    QStringList names;
    for (const QJsonValue tool : request(u"tools/list"_s, {}).value(u"tools"_s).toArray()) {
        names << m_prefix + tool[u"name"].toString();
    }
    return names;
}

QJsonObject McpClient::call(const QString& tool, const QJsonObject& arguments) {
    return request(u"tools/call"_s, {{u"name"_s, tool.sliced(m_prefix.size())}, {u"arguments"_s, arguments}})
        .value(u"structuredContent"_s)
        .toObject();
}

QJsonObject McpClient::request(const QString& method, const QJsonObject& params) {
    const int id = ++m_lastID;
    send({{u"jsonrpc"_s, u"2.0"_s}, {u"id"_s, id}, {u"method"_s, method}, {u"params"_s, params}});
    while (m_process.state() == QProcess::Running) {
        if (!m_process.canReadLine() && !m_process.waitForReadyRead(patience)) {
            break;
        }
        const QJsonObject answer =
            m_process.canReadLine() ? json::object(m_process.readLine()) : QJsonObject();
        if (answer.value(u"id"_s).toInt() == id) {
            return answer.value(u"result"_s).toObject();
        }
    }
    return {};
}

void McpClient::send(const QJsonObject& message) {
    m_process.waitForStarted(patience);
    m_process.write(json::encodeCompact(message) + '\n');
    m_process.waitForBytesWritten(patience);
}

}  // namespace lumbro::test
