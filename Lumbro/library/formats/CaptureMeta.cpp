#include "library/formats/CaptureMeta.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"

#include <QJsonArray>

#include <array>

namespace lumbro {

namespace {

constexpr std::array kindWords{"meeting",   "thought", "screenshot", "selection",
                               "clipboard", "prep",    "session"};

/// Reads the keys of one object and remembers whether any of them was unfit.
class Reader {
  public:
    explicit Reader(const QJsonObject& json) : m_json(json) {}

    bool ok() const { return m_ok; }

    std::optional<QString> string(const QString& key) {
        const QJsonValue value = m_json[key];
        m_ok = m_ok && (absent(value) || value.isString());
        return value.isString() ? std::optional(value.toString()) : std::nullopt;
    }
    std::optional<QDateTime> date(const QString& key) {
        const auto text = string(key);
        if (!text) {
            return std::nullopt;
        }
        const auto date = dates::fromIso(*text);
        m_ok = m_ok && date.has_value();
        return date;
    }
    std::optional<QStringList> strings(const QString& key) {
        const QJsonValue value = m_json[key];
        if (absent(value)) {
            return std::nullopt;
        }
        m_ok = m_ok && value.isArray();
        QStringList list;
        for (const QJsonValue item : value.toArray()) {
            m_ok = m_ok && item.isString();
            list.append(item.toString());
        }
        return list;
    }

  private:
    static bool absent(const QJsonValue& value) { return value.isUndefined() || value.isNull(); }

    const QJsonObject& m_json;
    bool m_ok = true;
};

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
    Reader reader(json);
    const auto title = reader.string(u"title"_s);
    const auto kind = captureKind(reader.string(u"kind"_s).value_or(QString()));
    const auto startedAt = reader.date(u"startedAt"_s);
    const auto sources = reader.strings(u"sources"_s);
    if (!title || !kind || !startedAt || !sources) {
        return std::nullopt;
    }
    CaptureMeta meta;
    meta.title = *title;
    meta.kind = *kind;
    meta.startedAt = *startedAt;
    meta.endedAt = reader.date(u"endedAt"_s);
    meta.sources = *sources;
    meta.attendees = reader.strings(u"attendees"_s);
    meta.attendeeEmails = reader.strings(u"attendeeEmails"_s);
    meta.eventID = reader.string(u"eventID"_s);
    meta.memorizedAt = reader.date(u"memorizedAt"_s);
    meta.sessionKey = reader.string(u"sessionKey"_s);
    meta.sessionCursor = reader.date(u"sessionCursor"_s);
    meta.callApp = reader.string(u"callApp"_s);
    meta.callAppBundleID = reader.string(u"callAppBundleID"_s);
    return reader.ok() ? std::optional(meta) : std::nullopt;
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
    return folder.section(u'/', -1);
}

}  // namespace lumbro
