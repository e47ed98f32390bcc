#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace lumbro {

/// The first thing in the arguments that the schema of a tool forbids, as a sentence for the model. Knows
/// objects of texts ("enum", "minLength", "maxLength"), whole numbers ("minimum", "maximum") and booleans,
/// and "required"; other properties are refused. A null counts as absent.
std::optional<QString> wrongMcpArgument(const QJsonObject& schema, const QJsonObject& arguments);

}  // namespace lumbro
