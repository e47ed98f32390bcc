#include "library/formats/CaptureMeta.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "library/formats/FlatJson.h"

#include <QJsonArray>

#include <algorithm>
#include <array>

namespace lumbro {

namespace {

constexpr std::array kindWords{"meeting",   "thought", "screenshot", "selection",
                               "clipboard", "prep",    "session"};

/// The values of a JSON object as a reader of fields wants them.
class JsonFields {
  public:
    explicit JsonFields(const QJsonObject& json) : m_json(json) {}

    bool has(const char* key) const { return !at(key).isUndefined() && !at(key).isNull(); }
    std::optional<QString> string(const char* key) const {
        const QJsonValue value = at(key);
        return value.isString() ? std::optional(value.toString()) : std::nullopt;
    }
    std::optional<QStringList> strings(const char* key) const {
        const QJsonArray array = at(key).toArray();
        if (!at(key).isArray() || !std::ranges::all_of(array, &QJsonValueConstRef::isString)) {
            return std::nullopt;
        }
        QStringList list;
        for (const auto& item : array) {
            list.append(item.toString());
        }
        return list;
    }

  private:
    QJsonValue at(const char* key) const { return m_json[QLatin1StringView(key)]; }

    const QJsonObject& m_json;
};

/// The same for an object without a tree of values.
class FlatFields {
  public:
    explicit FlatFields(const FlatJson& json) : m_json(json) {}

    bool has(const char* key) const { return m_json.find(key) != nullptr; }
    std::optional<QString> string(const char* key) const {
        const FlatJson::Value* value = m_json.find(key);
        return value != nullptr && value->isString() ? std::optional(value->toString()) : std::nullopt;
    }
    std::optional<QStringList> strings(const char* key) const {
        const FlatJson::Value* value = m_json.find(key);
        return value != nullptr && value->isArray ? std::optional(value->toStrings()) : std::nullopt;
    }

  private:
    const FlatJson& m_json;
};

/// Reads the keys of one object and remembers whether any of them was unfit.
template <typename Fields>
class Reader {
  public:
    explicit Reader(const Fields& fields) : m_fields(fields) {}

    bool ok() const { return m_ok; }

    std::optional<QString> string(const char* key) {
        auto text = m_fields.string(key);
        expect(text.has_value(), key);
        return text;
    }
    std::optional<QDateTime> date(const char* key) {
        const auto text = m_fields.string(key);
        auto date = text ? dates::fromIso(*text) : std::nullopt;
        expect(date.has_value(), key);
        return date;
    }
    std::optional<QStringList> strings(const char* key) {
        auto list = m_fields.strings(key);
        expect(list.has_value(), key);
        return list;
    }

  private:
    void expect(bool isFit, const char* key) { m_ok = m_ok && (isFit || !m_fields.has(key)); }

    const Fields& m_fields;
    bool m_ok = true;
};

template <typename Fields>
std::optional<CaptureMeta> readMeta(const Fields& fields) {
    Reader reader(fields);
    auto title = reader.string("title");
    const auto kind = captureKind(reader.string("kind").value_or(QString()));
    auto startedAt = reader.date("startedAt");
    auto sources = reader.strings("sources");
    if (!title || !kind || !startedAt || !sources) {
        return std::nullopt;
    }
    std::optional<CaptureMeta> meta(std::in_place);
    meta->title = *std::move(title);
    meta->kind = *kind;
    meta->startedAt = *std::move(startedAt);
    meta->endedAt = reader.date("endedAt");
    meta->sources = *std::move(sources);
    meta->attendees = reader.strings("attendees");
    meta->attendeeEmails = reader.strings("attendeeEmails");
    meta->eventID = reader.string("eventID");
    meta->memorizedAt = reader.date("memorizedAt");
    meta->sessionKey = reader.string("sessionKey");
    meta->sessionCursor = reader.date("sessionCursor");
    meta->callApp = reader.string("callApp");
    meta->callAppBundleID = reader.string("callAppBundleID");
    return reader.ok() ? std::move(meta) : std::nullopt;
}

void put(QJsonObject& json, const QString& key, const std::optional<QString>& value) {
    if (value) {
        json[key] = *value;
    }
}

void put(QJsonObject& json, const QString& key, const std::optional<QDateTime>& value) {
    if (value) {
        json[key] = dates::iso(*value);
    }
}

void put(QJsonObject& json, const QString& key, const std::optional<QStringList>& value) {
    if (value) {
        json[key] = QJsonArray::fromStringList(*value);
    }
}

}  // namespace

QString rawValue(CaptureKind kind) {
    return QString::fromLatin1(kindWords.at(static_cast<size_t>(kind)));
}

std::optional<CaptureKind> captureKind(const QString& rawValue) {
    for (size_t i = 0; i < kindWords.size(); ++i) {
        if (rawValue == QLatin1String(kindWords.at(i))) {
            return static_cast<CaptureKind>(i);
        }
    }
    return std::nullopt;
}

std::optional<CaptureMeta> CaptureMeta::fromJson(const QJsonObject& json) {
    return readMeta(JsonFields(json));
}

std::optional<CaptureMeta> CaptureMeta::fromBytes(const QByteArray& bytes) {
    const auto flat = FlatJson::parse(bytes);
    return flat ? readMeta(FlatFields(*flat)) : fromJson(json::object(bytes));
}

QJsonObject CaptureMeta::toJson() const {
    QJsonObject json{{u"title"_s, title},
                     {u"kind"_s, rawValue(kind)},
                     {u"startedAt"_s, dates::iso(startedAt)},
                     {u"sources"_s, QJsonArray::fromStringList(sources)}};
    put(json, u"endedAt"_s, endedAt);
    put(json, u"attendees"_s, attendees);
    put(json, u"attendeeEmails"_s, attendeeEmails);
    put(json, u"eventID"_s, eventID);
    put(json, u"memorizedAt"_s, memorizedAt);
    put(json, u"sessionKey"_s, sessionKey);
    put(json, u"sessionCursor"_s, sessionCursor);
    put(json, u"callApp"_s, callApp);
    put(json, u"callAppBundleID"_s, callAppBundleID);
    return json;
}

QString CaptureRecord::id() const {
    return folder.sliced(folder.lastIndexOf(u'/') + 1);
}

}  // namespace lumbro
