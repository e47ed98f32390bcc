#include "cli/MemoryJson.h"

#include "LumbroCore/Literals.h"

namespace lumbro::cli {

namespace {

void addSource(QJsonObject& json, const std::optional<WikiLink>& source) {
    if (!source) {
        return;
    }
    QJsonObject link{{u"target"_s, source->target}, {u"title"_s, source->title}};
    if (const auto capture = source->captureID()) {
        link.insert(u"capture"_s, *capture);
    }
    json.insert(u"source"_s, link);
}

QJsonObject timelineJson(const TimelineEntry& entry) {
    QJsonObject json{{u"date"_s, entry.date}, {u"text"_s, entry.text}};
    addSource(json, entry.source);
    return json;
}

}  // namespace

QJsonObject memoryJson(const MemoryEntity& page) {
    QJsonArray timeline;
    for (const TimelineEntry& entry : page.timeline) {
        timeline += timelineJson(entry);
    }
    QJsonObject json{{u"id"_s, page.id},
                     {u"name"_s, page.name},
                     {u"subtitle"_s, page.subtitle},
                     {u"lastSeen"_s, page.lastSeen},
                     {u"about"_s, QJsonArray::fromStringList(page.about)},
                     {u"timeline"_s, timeline},
                     {u"path"_s, page.url}};
    if (page.kind == MemoryEntity::Kind::person) {
        json.insert(u"role"_s, page.role);
        json.insert(u"company"_s, page.company);
        json.insert(u"emails"_s, QJsonArray::fromStringList(page.emails));
    }
    return json;
}

QJsonObject memoryJson(const Company& company) {
    return {{u"domain"_s, company.domain},
            {u"name"_s, company.name},
            {u"personSlugs"_s, QJsonArray::fromStringList(company.personSlugs)},
            {u"captureIDs"_s, QJsonArray::fromStringList(company.captureIDs)}};
}

QJsonObject memoryJson(const IdeaItem& idea) {
    QJsonObject json{
        {u"id"_s, idea.id}, {u"hook"_s, idea.hook}, {u"angle"_s, idea.angle}, {u"date"_s, idea.date}};
    addSource(json, idea.source);
    return json;
}

QJsonObject memoryJson(const PromiseItem& promise, QDate today) {
    QJsonObject json{{u"id"_s, promise.id},
                     {u"done"_s, promise.done},
                     {u"text"_s, promise.text},
                     {u"owner"_s, promise.owner},
                     {u"ownerName"_s, WikiLink::plain(promise.owner)},
                     {u"recipient"_s, promise.recipient},
                     {u"recipientName"_s, WikiLink::plain(promise.recipient)},
                     {u"due"_s, promise.due},
                     {u"urgency"_s, rawValue(promise.urgency(today))},
                     {u"dueText"_s, promise.dueText(today)},
                     {u"ageText"_s, promise.ageText(today)},
                     {u"isMine"_s, promise.isMine()},
                     {u"isSnoozed"_s, promise.isSnoozed(today)},
                     {u"snoozedUntil"_s, promise.snoozedUntil},
                     {u"date"_s, promise.date}};
    if (promise.recipientSlug) {
        json.insert(u"recipientSlug"_s, *promise.recipientSlug);
    }
    if (const auto due = promise.dueDate(today)) {
        json.insert(u"dueDate"_s, due->toString(Qt::ISODate));
    }
    addSource(json, promise.source);
    return json;
}

}  // namespace lumbro::cli
