#include "actions/formats/ActionRun.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QCryptographicHash>
#include <QJsonArray>

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

using Status = ActionRun::Status;

constexpr std::array<std::pair<Status, const char*>, 7> statusWords{{
    {Status::queued, "queued"},
    {Status::running, "running"},
    {Status::done, "done"},
    {Status::unconfirmed, "unconfirmed"},
    {Status::failed, "failed"},
    {Status::stopped, "stopped"},
    {Status::interrupted, "interrupted"},
}};

/// Takes the values of an object; a required one that is missing and any of the wrong type is remembered.
class Fields {
  public:
    explicit Fields(QJsonObject json) : m_json(std::move(json)) {}

    bool isSound() const { return m_isSound; }
    QString text(const char* key) {
        const auto found = optionalText(key);
        m_isSound = m_isSound && found;
        return found.value_or(QString());
    }
    std::optional<QString> optionalText(const char* key) {
        const QJsonValue value = at(key);
        if (value.isNull() || value.isUndefined()) {
            return std::nullopt;
        }
        m_isSound = m_isSound && value.isString();
        return value.toString();
    }
    QDateTime date(const char* key) {
        const auto found = optionalDate(key);
        m_isSound = m_isSound && found;
        return found.value_or(QDateTime());
    }
    std::optional<QDateTime> optionalDate(const char* key) {
        const auto word = optionalText(key);
        const auto found = word ? dates::fromIso(*word) : std::nullopt;
        m_isSound = m_isSound && (!word || found);
        return found;
    }
    bool flag(const char* key) {
        const QJsonValue value = at(key);
        m_isSound = m_isSound && (value.isBool() || value.isUndefined());
        return value.toBool();
    }
    QJsonArray array(const char* key) {
        const QJsonValue value = at(key);
        m_isSound = m_isSound && value.isArray();
        return value.toArray();
    }

  private:
    QJsonValue at(const char* key) const { return m_json.value(QLatin1StringView(key)); }

    QJsonObject m_json;
    bool m_isSound = true;
};

/// Whether a link leads to the web or into a known app, or names no scheme at all.
bool hasFitScheme(const QString& link) {
    static constexpr std::array fit{"http", "https", "todoist", "linear", "slack", "notion"};
    if (std::ranges::any_of(link, [](QChar c) { return c.category() == QChar::Other_Control; })) {
        return false;
    }
    const QString scheme = link.first(std::max(link.indexOf(u':'), qsizetype(0))).toLower();
    // A colon behind a slash belongs to a path.
    return scheme.isEmpty() || scheme.contains(u'/') ||
           std::ranges::any_of(fit, [&](const char* word) { return scheme == QLatin1StringView(word); });
}

}  // namespace

ActionRunItem ActionRunItem::fromJson(const QJsonValue& value) {
    const QJsonObject json = value.toObject();
    const QString link = json.value(u"url").toString().trimmed();
    const bool isFit = hasFitScheme(link);
    return {.title = json.value(u"title").toString(),
            .url = link.isEmpty() || !isFit ? std::nullopt : std::optional(link),
            .verified = isFit && json.value(u"verified").toBool()};
}

QJsonObject ActionRunItem::toJson() const {
    QJsonObject json{{u"title"_s, title}, {u"verified"_s, verified}};
    if (url) {
        json.insert(u"url"_s, *url);
    }
    return json;
}

QString ActionRun::title() const {
    switch (status) {
        case Status::queued:
            return u"Waiting to start in "_s + app;
        case Status::running:
            return u"Working in %1…"_s.arg(app);
        case Status::done:
            return summary.isEmpty() ? u"Done in "_s + app : summary;
        case Status::unconfirmed:
            return summary.isEmpty() ? u"Finished in "_s + app : summary;
        case Status::failed:
            return u"Failed in "_s + app;
        case Status::stopped:
            return u"Stopped in "_s + app;
        case Status::interrupted:
            return u"Interrupted in "_s + app;
    }
    std::unreachable();
}

std::optional<QString> ActionRun::checkFirst() const {
    if (neverStarted) {
        return std::nullopt;
    }
    switch (status) {
        case Status::unconfirmed:
            return u"Lumbro couldn't confirm this in %1. Check %1 before you try again."_s.arg(app);
        case Status::stopped:
            return u"Stopped before it finished. Some changes may already be in %1."_s.arg(app);
        case Status::interrupted:
            return u"Lumbro quit while this ran. Check %1 before you try again."_s.arg(app);
        case Status::queued:
        case Status::running:
        case Status::done:
        case Status::failed:
            break;
    }
    return std::nullopt;
}

std::optional<QString> ActionRun::aboutEnd() const {
    if (neverStarted && status == Status::stopped) {
        return u"Stopped before it started, so nothing was changed in %1."_s.arg(app);
    }
    if (neverStarted && status == Status::interrupted) {
        return u"Lumbro quit before this started, so nothing was changed in %1."_s.arg(app);
    }
    return checkFirst();
}

QString ActionRun::beforeRetry(const QString& time) const {
    if (isLive()) {
        return u"This is already running in %1."_s.arg(app);
    }
    if (status == Status::done) {
        return u"You sent this to %1 at %2, and it worked. Doing it again may make duplicates."_s.arg(app,
                                                                                                      time);
    }
    if (const auto known = aboutEnd()) {
        return u"You sent this at %1. "_s.arg(time) + *known;
    }
    QString reason = error.value_or(u"unknown error"_s);
    if (reason.endsWith(u'.')) {
        reason.chop(1);
    }
    return u"This failed at %1: %2. You can try again."_s.arg(time, reason);
}

QString ActionRun::keyFor(const QString& connectorID, const QString& content) {
    const QByteArray text = (connectorID + u'\n' + content.trimmed()).toUtf8();
    const QByteArray digest = QCryptographicHash::hash(text, QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.first(8).toHex());
}

QString ActionRun::rawValue(Status status) {
    for (const auto& [value, word] : statusWords) {
        if (value == status) {
            return QString::fromLatin1(word);
        }
    }
    std::unreachable();
}

std::optional<ActionRun::Status> ActionRun::statusFrom(const QString& rawValue) {
    for (const auto& [value, word] : statusWords) {
        if (rawValue == QLatin1StringView(word)) {
            return value;
        }
    }
    return std::nullopt;
}

std::optional<ActionRun> ActionRun::fromBytes(const QByteArray& bytes) {
    Fields fields(json::object(bytes));
    ActionRun run{.id = fields.text("id"),
                  .key = fields.text("key"),
                  .app = fields.text("app"),
                  .connectorID = fields.text("connectorID"),
                  .icon = fields.text("icon"),
                  .instruction = fields.text("instruction"),
                  .content = fields.text("content"),
                  .about = fields.text("about"),
                  .captureID = fields.optionalText("captureID"),
                  .askThread = fields.optionalText("askThread"),
                  .status = Status::queued,
                  .started = fields.date("started"),
                  .finished = fields.optionalDate("finished"),
                  .summary = fields.text("summary"),
                  .items = {},
                  .error = fields.optionalText("error"),
                  .neverStarted = fields.flag("neverStarted")};
    const auto status = statusFrom(fields.text("status"));
    for (const QJsonValue item : fields.array("items")) {
        run.items << Item::fromJson(item);
    }
    if (!status || !fields.isSound()) {
        return std::nullopt;
    }
    run.status = *status;
    return run;
}

QJsonObject ActionRun::toJson() const {
    QJsonArray made;
    for (const Item& item : items) {
        made << item.toJson();
    }
    QJsonObject json{{u"id"_s, id},
                     {u"key"_s, key},
                     {u"app"_s, app},
                     {u"connectorID"_s, connectorID},
                     {u"icon"_s, icon},
                     {u"instruction"_s, instruction},
                     {u"content"_s, content},
                     {u"about"_s, about},
                     {u"status"_s, rawValue(status)},
                     {u"started"_s, dates::iso(started)},
                     {u"summary"_s, summary},
                     {u"items"_s, made}};
    const auto put = [&json](const QString& name, const std::optional<QString>& text) {
        if (text) {
            json.insert(name, *text);
        }
    };
    put(u"captureID"_s, captureID);
    put(u"askThread"_s, askThread);
    put(u"finished"_s, finished ? std::optional(dates::iso(*finished)) : std::nullopt);
    put(u"error"_s, error);
    if (neverStarted) {
        json.insert(u"neverStarted"_s, true);
    }
    return json;
}

}  // namespace lumbro
