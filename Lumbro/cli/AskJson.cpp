#include "cli/AskJson.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"

namespace lumbro::cli {

namespace {

void insertIfThere(QJsonObject& object, const QString& key, const std::optional<QString>& value) {
    if (value) {
        object.insert(key, *value);
    }
}

QJsonObject turnJson(const AskTurn& turn) {
    QJsonObject object{{u"question"_s, turn.question},
                       {u"answer"_s, turn.answer},
                       {u"sources"_s, sourcesJson(turn.sources)},
                       {u"date"_s, dates::iso(turn.date)}};
    insertIfThere(object, u"action"_s, turn.action);
    insertIfThere(object, u"engine"_s, turn.engine);
    return object;
}

}  // namespace

QJsonArray sourcesJson(const QList<AskSource>& sources) {
    QJsonArray array;
    for (const AskSource& source : sources) {
        array += QJsonObject{{u"title"_s, source.title}, {u"item"_s, source.item.token()}};
    }
    return array;
}

QJsonObject askJson(const AskThread& thread) {
    QJsonArray turns;
    for (const AskTurn& turn : thread.turns) {
        turns += turnJson(turn);
    }
    QJsonObject object{{u"id"_s, thread.id},
                       {u"title"_s, thread.title},
                       {u"created"_s, dates::iso(thread.created)},
                       {u"updated"_s, dates::iso(thread.updated())},
                       {u"turns"_s, turns}};
    insertIfThere(object, u"scope"_s, thread.scope ? std::optional(thread.scope->token()) : std::nullopt);
    return object;
}

QJsonObject askJson(const AskAnswer& answer) {
    QJsonObject object{{u"thread"_s, answer.thread},
                       {u"question"_s, answer.question},
                       {u"text"_s, answer.text},
                       {u"sources"_s, sourcesJson(answer.sources)}};
    insertIfThere(object, u"action"_s, answer.action);
    return object;
}

}  // namespace lumbro::cli
