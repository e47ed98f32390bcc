#include "mcp/McpMessage.h"

#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace lumbro {

McpMessage McpMessage::from(const QJsonValue& value) {
    const QJsonObject object = value.toObject();
    const QJsonValue id = object[u"id"_s];
    const bool hasId = object.contains(u"id"_s);
    const bool canBeAnswered = id.isString() || id.isDouble();
    McpMessage message;
    message.id = canBeAnswered ? id : QJsonValue(QJsonValue::Null);
    message.params = object[u"params"_s];
    const QJsonValue method = object[u"method"_s];
    if (object[u"jsonrpc"_s].toString() != u"2.0" || (hasId && !canBeAnswered && !method.isUndefined())) {
        return message;
    }
    if (method.isString()) {
        message.method = method.toString();
        message.kind = hasId ? Kind::request : Kind::notification;
    } else if (method.isUndefined() && (object.contains(u"result"_s) || object.contains(u"error"_s))) {
        message.kind = Kind::response;
    }
    return message;
}

McpLine McpLine::parse(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    McpLine line;
    if (error.error != QJsonParseError::NoError) {
        line.error = McpError::parse;
        return line;
    }
    if (document.isObject()) {
        line.messages = {McpMessage::from(document.object())};
        return line;
    }
    const QJsonArray array = document.array();
    line.isBatch = true;
    if (array.isEmpty() || array.size() > mostMessages) {
        line.error = McpError::invalidRequest;
        return line;
    }
    for (const auto value : array) {
        line.messages += McpMessage::from(value);
    }
    return line;
}

QJsonObject mcpResult(const QJsonValue& id, const QJsonObject& result) {
    return {{u"jsonrpc"_s, u"2.0"_s}, {u"id"_s, id}, {u"result"_s, result}};
}

QJsonObject mcpFailure(const QJsonValue& id, McpError error, const QString& sentence) {
    return {{u"jsonrpc"_s, u"2.0"_s},
            {u"id"_s, id},
            {u"error"_s, QJsonObject{{u"code"_s, int(error)}, {u"message"_s, sentence}}}};
}

}  // namespace lumbro
