#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// Why a message was refused, with the number that the protocol gives it.
enum class McpError : int {
    parse = -32700,
    invalidRequest = -32600,
    methodNotFound = -32601,
    invalidParams = -32602,
};

/// One message of JSON-RPC 2.0, as a client sends it.
struct McpMessage {
    enum class Kind { request, notification, response, invalid };

    Kind kind = Kind::invalid;
    /// Text or a number, in JSON and a number digit for digit as it came: no type of ours holds them all.
    /// "null" where there is none that could be answered.
    QByteArray id = "null";
    QString method;
    /// Undefined when absent.
    QJsonValue params = QJsonValue::Undefined;

    bool operator==(const McpMessage&) const = default;

    /// Any value is one. `numericID` has the digits of its id when that is a number.
    static McpMessage from(const QJsonValue& value, const QByteArray& numericID);
};

/// What stands on one line: a message, or an array of them.
struct McpLine {
    static constexpr qsizetype mostMessages = 100;

    QList<McpMessage> messages;
    bool isBatch = false;
    /// Why there are no messages.
    std::optional<McpError> error;

    /// Any bytes give a value.
    static McpLine parse(const QByteArray& line);
};

/// The answers to a request, as JSON on one line.
QByteArray mcpResult(const QByteArray& id, const QJsonObject& result);
QByteArray mcpFailure(const QByteArray& id, McpError error, const QString& sentence);

}  // namespace lumbro
