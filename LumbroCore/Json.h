#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

/// The one JSON writer of the library, and readers that never fail.
namespace lumbro::json {

/// Pretty printed with two blanks per level, sorted keys, UTF-8, no newline at the end. Numbers are written
/// in the shortest form that reads back the same.
QByteArray encode(const QJsonValue& value);
/// The same on one line without blanks.
QByteArray encodeCompact(const QJsonValue& value);
/// The object or array in `bytes`; empty when they hold anything else.
QJsonObject object(const QByteArray& bytes);
QJsonArray array(const QByteArray& bytes);

}  // namespace lumbro::json
