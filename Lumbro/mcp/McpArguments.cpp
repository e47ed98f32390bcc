#include "mcp/McpArguments.h"

#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QStringList>

#include <cmath>

namespace lumbro {

namespace {

QString listed(const QJsonArray& values) {
    QStringList words;
    for (const auto value : values) {
        words += value.toString();
    }
    return words.join(u", "_s);
}

std::optional<QString> wrongText(const QJsonObject& schema, const QJsonValue& value) {
    const QJsonArray choices = schema[u"enum"_s].toArray();
    if (!choices.isEmpty() && !choices.contains(value)) {
        return u"takes one of: "_s + listed(choices);
    }
    const qsizetype most = schema[u"maxLength"_s].toInteger(-1);
    const QString text = value.toString();
    if (!value.isString() || text.trimmed().size() < schema[u"minLength"_s].toInteger()) {
        return u"takes a text"_s;
    }
    return most >= 0 && text.size() > most ? std::optional(u"takes at most %1 characters"_s.arg(most))
                                           : std::nullopt;
}

std::optional<QString> wrongNumber(const QJsonObject& schema, const QJsonValue& value) {
    const double least = schema[u"minimum"_s].toDouble();
    const double most = schema[u"maximum"_s].toDouble();
    const double number = value.toDouble();
    if (value.isDouble() && number >= least && number <= most && std::floor(number) == number) {
        return std::nullopt;
    }
    return u"takes a whole number from %1 to %2"_s.arg(least).arg(most);
}

/// What is wrong with one value, without its name and the full stop.
std::optional<QString> wrongValue(const QJsonObject& schema, const QJsonValue& value) {
    const QString type = schema[u"type"_s].toString();
    if (type == u"integer") {
        return wrongNumber(schema, value);
    }
    if (type == u"boolean") {
        return value.isBool() ? std::nullopt : std::optional(u"takes true or false"_s);
    }
    return wrongText(schema, value);
}

}  // namespace

std::optional<QString> wrongMcpArgument(const QJsonObject& schema, const QJsonObject& arguments) {
    const QJsonObject properties = schema[u"properties"_s].toObject();
    for (const auto name : schema[u"required"_s].toArray()) {
        if (arguments[name.toString()].isUndefined() || arguments[name.toString()].isNull()) {
            return u"The argument \"%1\" is missing."_s.arg(name.toString());
        }
    }
    for (auto it = arguments.begin(); it != arguments.end(); ++it) {
        if (!properties.contains(it.key())) {
            const QString known = properties.keys().join(u", "_s);
            return u"There is no argument \"%1\"; this tool takes: %2."_s.arg(
                it.key().left(80), known.isEmpty() ? u"none"_s : known);
        }
        const auto wrong =
            it.value().isNull() ? std::nullopt : wrongValue(properties[it.key()].toObject(), it.value());
        if (wrong) {
            return u"The argument \"%1\" %2."_s.arg(it.key(), *wrong);
        }
    }
    return std::nullopt;
}

}  // namespace lumbro
