#include "memory/formats/LibrarianOps.h"

#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace lumbro {

namespace {

/// Reads the keys of objects and remembers whether any of them was unfit.
class Reader {
  public:
    bool ok() const { return m_ok; }

    QString required(const QJsonObject& json, const QString& key) {
        const auto text = optional(json, key);
        m_ok = m_ok && text.has_value();
        return text.value_or(QString());
    }
    std::optional<QString> optional(const QJsonObject& json, const QString& key) {
        const QJsonValue value = json.value(key);
        if (isAbsent(value)) {
            return std::nullopt;
        }
        return text(value);
    }
    QStringList texts(const QJsonObject& json, const QString& key) {
        QStringList list;
        for (const auto& item : array(json, key)) {
            list += text(item);
        }
        return list;
    }
    template <typename Item>
    QList<Item> items(const QJsonObject& json, const QString& key, Item (Reader::*read)(const QJsonObject&)) {
        QList<Item> list;
        for (const auto& item : array(json, key)) {
            m_ok = m_ok && item.isObject();
            list += (this->*read)(item.toObject());
        }
        return list;
    }

    LibrarianOps::Entity entity(const QJsonObject& json) {
        return {.slug = optional(json, u"slug"_s),
                .name = required(json, u"name"_s),
                .company = optional(json, u"company"_s),
                .role = optional(json, u"role"_s),
                .status = optional(json, u"status"_s),
                .about = texts(json, u"about"_s),
                .timeline = optional(json, u"timeline"_s)};
    }
    LibrarianOps::Promise promise(const QJsonObject& json) {
        return {.owner = required(json, u"owner"_s),
                .to = optional(json, u"to"_s),
                .text = required(json, u"text"_s),
                .due = optional(json, u"due"_s)};
    }
    LibrarianOps::Idea idea(const QJsonObject& json) {
        return {.hook = required(json, u"hook"_s), .angle = optional(json, u"angle"_s)};
    }

  private:
    static bool isAbsent(const QJsonValue& value) { return value.isUndefined() || value.isNull(); }
    QString text(const QJsonValue& value) {
        m_ok = m_ok && value.isString();
        return value.toString();
    }
    QJsonArray array(const QJsonObject& json, const QString& key) {
        const QJsonValue value = json.value(key);
        m_ok = m_ok && (isAbsent(value) || value.isArray());
        return value.toArray();
    }

    bool m_ok = true;
};

}  // namespace

std::optional<LibrarianOps> LibrarianOps::decode(const QString& text) {
    const qsizetype begin = text.indexOf(u'{');
    const qsizetype end = text.lastIndexOf(u'}');
    if (text.size() > mostCharacters || begin < 0 || end < begin) {
        return std::nullopt;
    }
    const QByteArray slice = QStringView(text).sliced(begin, end - begin + 1).toUtf8();
    const QJsonDocument document = QJsonDocument::fromJson(slice);
    if (!document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject json = document.object();
    Reader reader;
    LibrarianOps ops{.people = reader.items(json, u"people"_s, &Reader::entity),
                     .projects = reader.items(json, u"projects"_s, &Reader::entity),
                     .promises = reader.items(json, u"promises"_s, &Reader::promise),
                     .closedPromises = reader.texts(json, u"closed_promises"_s),
                     .ideas = reader.items(json, u"ideas"_s, &Reader::idea)};
    return reader.ok() ? std::optional(std::move(ops)) : std::nullopt;
}

}  // namespace lumbro
