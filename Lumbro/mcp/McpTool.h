#pragma once

#include "LumbroCore/Failure.h"

#include <QJsonObject>
#include <QString>

#include <functional>

namespace lumbro {

/// What a tool found: text for the model, and the same as a value for programs.
struct McpToolResult {
    QString text;
    QJsonObject structured;
};

/// Something that a client can have done. Tools here only read.
struct McpTool {
    QString name;
    /// For people.
    QString title;
    /// For the model: what it gives and when to use it.
    QString description;
    /// The JSON schema of the arguments, of the forms that `wrongMcpArgument` knows.
    QJsonObject inputSchema;
    /// Called with arguments that fit the schema. A failure's sentence goes to the model.
    std::function<Result<McpToolResult>(const QJsonObject& arguments)> call;
};

}  // namespace lumbro
