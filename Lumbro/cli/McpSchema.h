#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

/// The JSON schemas of tools.
namespace lumbro::cli::mcpSchema {

/// An object with these properties, and no others.
QJsonObject object(const QJsonObject& properties, const QStringList& required = {});
/// A text that is not blank.
QJsonObject text(const QString& meaning);
QJsonObject choice(const QStringList& values, const QString& meaning);
QJsonObject number(int least, int most, const QString& meaning);
QJsonObject flag(const QString& meaning);

}  // namespace lumbro::cli::mcpSchema
