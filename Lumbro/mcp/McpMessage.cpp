#include "mcp/McpMessage.h"

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "mcp/NumericIds.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace lumbro {

McpMessage McpMessage::from(const QJsonValue& value, const QByteArray& numericID) {
    const QJsonObject object = value.toObject();
    const QJsonValue id = object[u"id"_s];
    const bool hasId = object.contains(u"id"_s);
    const bool canBeAnswered = id.isString() || id.isDouble();
    McpMessage message;
    if (canBeAnswered) {
        message.id = id.isDouble() && !numericID.isEmpty() ? numericID : json::encodeCompact(id);
    }
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

namespace {

/// A text, a number, a boolean or null, which the parser takes within an array only.
bool isScalar(const QByteArray& bytes) {
    return QJsonDocument::fromJson('[' + bytes + ']').array().size() == 1;
}

}  // namespace

McpLine McpLine::parse(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    McpLine line;
    if (error.error != QJsonParseError::NoError) {
        line.error = isScalar(bytes) ? McpError::invalidRequest : McpError::parse;
        return line;
    }
    if (document.isObject()) {
        line.messages = {McpMessage::from(document.object(), numericIDs(bytes).value(0))};
        return line;
    }
    const QJsonArray array = document.array();
    line.isBatch = true;
    if (array.isEmpty() || array.size() > mostMessages) {
        line.error = McpError::invalidRequest;
        return line;
    }
    const QHash<qsizetype, QByteArray> ids = numericIDs(bytes);
    for (const auto value : array) {
        line.messages += McpMessage::from(value, ids.value(line.messages.size()));
    }
    return line;
}

QByteArray mcpResult(const QByteArray& id, const QJsonObject& result) {
    return R"({"id":)" + id + R"(,"jsonrpc":"2.0","result":)" + json::encodeCompact(result) + '}';
}

QByteArray mcpFailure(const QByteArray& id, McpError error, const QString& sentence) {
    const QJsonObject reason{{u"code"_s, int(error)}, {u"message"_s, sentence}};
    return R"({"error":)" + json::encodeCompact(reason) + R"(,"id":)" + id + R"(,"jsonrpc":"2.0"})";
}

}  // namespace lumbro
