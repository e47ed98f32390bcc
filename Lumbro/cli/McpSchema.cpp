#include "cli/McpSchema.h"

#include "LumbroCore/Literals.h"

#include <QJsonArray>

namespace lumbro::cli::mcpSchema {

namespace {

// A question may quote a document; a longer one is a mistake.
constexpr int mostCharacters = 1024 * 1024;

}  // namespace

QJsonObject object(const QJsonObject& properties, const QStringList& required) {
    QJsonObject schema{
        {u"type"_s, u"object"_s}, {u"properties"_s, properties}, {u"additionalProperties"_s, false}};
    if (!required.isEmpty()) {
        schema.insert(u"required"_s, QJsonArray::fromStringList(required));
    }
    return schema;
}

QJsonObject text(const QString& meaning) {
    return {{u"type"_s, u"string"_s},
            {u"description"_s, meaning},
            {u"minLength"_s, 1},
            {u"maxLength"_s, mostCharacters}};
}

QJsonObject choice(const QStringList& values, const QString& meaning) {
    return {{u"type"_s, u"string"_s},
            {u"description"_s, meaning},
            {u"enum"_s, QJsonArray::fromStringList(values)}};
}

QJsonObject number(int least, int most, const QString& meaning) {
    return {
        {u"type"_s, u"integer"_s}, {u"description"_s, meaning}, {u"minimum"_s, least}, {u"maximum"_s, most}};
}

QJsonObject flag(const QString& meaning) {
    return {{u"type"_s, u"boolean"_s}, {u"description"_s, meaning}};
}

}  // namespace lumbro::cli::mcpSchema
