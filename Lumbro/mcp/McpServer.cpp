#include "mcp/McpServer.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "mcp/McpArguments.h"

#include <QByteArrayList>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

const QByteArray noID = "null";

const QStringList& revisions() {
    static const QStringList all{u"2024-11-05"_s, u"2025-03-26"_s, u"2025-06-18"_s};
    return all;
}

/// The newest revision has taken them out; the others allow what JSON-RPC does.
bool knowsBatches(const QString& revision) {
    return revision != revisions().last();
}

QJsonObject toolJson(const McpTool& tool) {
    return {{u"name"_s, tool.name},
            {u"title"_s, tool.title},
            {u"description"_s, tool.description},
            {u"inputSchema"_s, tool.inputSchema},
            {u"annotations"_s,
             QJsonObject{{u"title"_s, tool.title}, {u"readOnlyHint"_s, true}, {u"openWorldHint"_s, false}}}};
}

QJsonObject resultJson(const QString& text, bool isError) {
    return {{u"content"_s, QJsonArray{QJsonObject{{u"type"_s, u"text"_s}, {u"text"_s, text}}}},
            {u"isError"_s, isError}};
}

QJsonObject resultJson(const McpToolResult& result) {
    QJsonObject json = resultJson(result.text, false);
    json.insert(u"structuredContent"_s, result.structured);
    return json;
}

}  // namespace

McpServer::McpServer(About about, QList<McpTool> tools)
    : m_about(std::move(about)), m_tools(std::move(tools)) {}

QByteArray McpServer::answer(const QByteArray& bytes) {
    if (bytes.trimmed().isEmpty()) {
        return {};
    }
    const McpLine line = McpLine::parse(bytes);
    if (const QString sentence = refusal(line); !sentence.isEmpty()) {
        return mcpFailure(noID, line.error.value_or(McpError::invalidRequest), sentence);
    }
    m_room = mostText;
    QByteArrayList answers;
    for (const McpMessage& message : line.messages) {
        answers += answer(message, line.isBatch);
    }
    answers.removeAll({});
    const QByteArray all = answers.join(',');
    return line.isBatch && !answers.isEmpty() ? '[' + all + ']' : all;
}

QString McpServer::refusal(const McpLine& line) const {
    if (line.error == McpError::parse) {
        return u"The line is no JSON."_s;
    }
    if (line.isBatch && !knowsBatches(m_revision)) {
        return u"Revision %1 of the protocol has no batches."_s.arg(m_revision);
    }
    if (line.error) {
        return line.isBatch ? u"A batch holds from 1 to %1 messages."_s.arg(McpLine::mostMessages)
                            : u"A message is an object."_s;
    }
    return {};
}

QByteArray McpServer::answerTooLong() {
    const QString sentence = u"The message is longer than %1 MB."_s.arg(mostBytes / 1024 / 1024);
    return mcpFailure(noID, McpError::parse, sentence);
}

QByteArray McpServer::answer(const McpMessage& message, bool isBatch) {
    switch (message.kind) {
        case McpMessage::Kind::invalid:
            return mcpFailure(message.id, McpError::invalidRequest, u"This is no request of JSON-RPC 2.0."_s);
        case McpMessage::Kind::request:
            if (isBatch && message.method == u"initialize") {
                return mcpFailure(message.id, McpError::invalidRequest,
                                  u"\"initialize\" must not be part of a batch."_s);
            }
            return respond(message);
        case McpMessage::Kind::notification:
        case McpMessage::Kind::response:
            break;
    }
    // Nothing is under way between two lines that a notification could change, and nothing was asked.
    return {};
}

QByteArray McpServer::respond(const McpMessage& request) {
    if (!request.params.isUndefined() && !request.params.isObject()) {
        return mcpFailure(request.id, McpError::invalidParams, u"\"params\" must be an object."_s);
    }
    if (request.method == u"ping") {
        return mcpResult(request.id, {});
    }
    if (request.method == u"initialize") {
        return initialize(request);
    }
    if (m_revision.isEmpty()) {
        return mcpFailure(request.id, McpError::invalidRequest,
                          u"The session has not begun; send \"initialize\" first."_s);
    }
    if (request.method == u"tools/list") {
        return listTools(request);
    }
    if (request.method == u"tools/call") {
        return callTool(request);
    }
    return mcpFailure(request.id, McpError::methodNotFound,
                      u"There is no method \"%1\"."_s.arg(request.method.left(80)));
}

QByteArray McpServer::initialize(const McpMessage& request) {
    const QJsonValue revision = request.params.toObject()[u"protocolVersion"_s];
    if (!revision.isString()) {
        return mcpFailure(request.id, McpError::invalidParams, u"\"protocolVersion\" must be a text."_s);
    }
    const bool isKnown = revisions().contains(revision.toString());
    m_revision = isKnown ? revision.toString() : revisions().last();
    return mcpResult(
        request.id,
        {{u"protocolVersion"_s, m_revision},
         {u"capabilities"_s, QJsonObject{{u"tools"_s, QJsonObject()}}},
         {u"serverInfo"_s,
          QJsonObject{{u"name"_s, u"lumbro"_s}, {u"title"_s, u"Lumbro"_s}, {u"version"_s, m_about.version}}},
         {u"instructions"_s, m_about.instructions}});
}

QByteArray McpServer::listTools(const McpMessage& request) const {
    const QJsonValue cursor = request.params.toObject()[u"cursor"_s];
    if (!cursor.isUndefined() && !cursor.isNull()) {
        return mcpFailure(request.id, McpError::invalidParams, u"The list of tools has one page only."_s);
    }
    QJsonArray tools;
    for (const McpTool& tool : m_tools) {
        tools += toolJson(tool);
    }
    return mcpResult(request.id, {{u"tools"_s, tools}});
}

QByteArray McpServer::callTool(const McpMessage& request) {
    const QJsonObject params = request.params.toObject();
    const QJsonValue name = params[u"name"_s];
    const QJsonValue arguments = params[u"arguments"_s];
    if (!name.isString() || !(arguments.isObject() || arguments.isUndefined() || arguments.isNull())) {
        return mcpFailure(request.id, McpError::invalidParams,
                          u"A call needs \"name\", a text, and may have \"arguments\", an object."_s);
    }
    const auto tool = std::ranges::find(m_tools, name.toString(), &McpTool::name);
    if (tool == m_tools.end()) {
        return mcpFailure(request.id, McpError::invalidParams,
                          u"There is no tool \"%1\"."_s.arg(name.toString().left(80)));
    }
    if (const auto wrong = wrongMcpArgument(tool->inputSchema, arguments.toObject())) {
        return mcpResult(request.id, resultJson(*wrong, true));
    }
    const Result<McpToolResult> result = tool->call(arguments.toObject());
    if (!result) {
        AppLog::info(u"mcp"_s, tool->name + u": "_s + result.error().message);
        return mcpResult(request.id, resultJson(result.error().message, true));
    }
    if (result->text.size() > m_room) {
        return mcpResult(request.id, resultJson(u"That is too much for one answer; ask for less."_s, true));
    }
    m_room -= result->text.size();
    return mcpResult(request.id, resultJson(*result));
}

}  // namespace lumbro
