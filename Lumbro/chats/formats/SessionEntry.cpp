#include "chats/formats/SessionEntry.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"

namespace lumbro {

std::optional<SessionEntry> SessionEntry::fromJson(const QJsonObject& json) {
    bool isWhole = true;
    const auto text = [&](const QString& key) {
        const QJsonValue value = json[key];
        isWhole = isWhole && value.isString();
        return value.toString();
    };
    SessionEntry entry{
        .id = text(u"id"_s),
        .session = text(u"session"_s),
        .title = {},
        .project = text(u"project"_s),
        .folder = text(u"folder"_s),
        .time = {},
        .prompt = text(u"prompt"_s),
        .reply = text(u"reply"_s),
    };
    if (const QJsonValue title = json[u"title"_s]; !title.isUndefined() && !title.isNull()) {
        entry.title = text(u"title"_s);
    }
    const auto time = dates::fromIso(text(u"time"_s));
    if (!isWhole || !time) {
        return std::nullopt;
    }
    entry.time = *time;
    return entry;
}

QJsonObject SessionEntry::toJson() const {
    QJsonObject json{
        {u"id"_s, id},         {u"session"_s, session},       {u"project"_s, project}, {u"folder"_s, folder},
        {u"prompt"_s, prompt}, {u"time"_s, dates::iso(time)}, {u"reply"_s, reply},
    };
    if (title) {
        json[u"title"_s] = *title;
    }
    return json;
}

}  // namespace lumbro
