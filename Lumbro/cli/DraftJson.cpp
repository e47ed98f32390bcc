#include "cli/DraftJson.h"

#include "LumbroCore/Dates.h"
#include "cli/Table.h"

namespace lumbro::cli {

QJsonObject draftJson(const ActionItem& item) {
    QJsonObject json{{u"owner"_s, item.owner}, {u"task"_s, item.task}, {u"include"_s, item.include}};
    if (item.due) {
        json[u"due"_s] = item.due->toString(Qt::ISODate);
    }
    return json;
}

QJsonArray draftJson(const QList<ActionItem>& items) {
    QJsonArray array;
    for (const ActionItem& item : items) {
        array += draftJson(item);
    }
    return array;
}

QJsonObject draftJson(const EventDraft& draft) {
    return {{u"title"_s, draft.title},
            {u"start"_s, dates::iso(draft.start)},
            {u"minutes"_s, draft.minutes},
            {u"with"_s, QJsonArray::fromStringList(draft.with)},
            {u"names"_s, QJsonArray::fromStringList(draft.names())},
            {u"emails"_s, QJsonArray::fromStringList(draft.emails())},
            {u"whenText"_s, draft.whenText()}};
}

QJsonObject draftJson(const EmailDraft& draft) {
    return {{u"to"_s, QJsonArray::fromStringList(draft.to)},
            {u"subject"_s, draft.subject},
            {u"body"_s, draft.body}};
}

QString draftText(const Output& output, const QList<ActionItem>& items) {
    QList<QStringList> rows;
    for (const ActionItem& item : items) {
        rows.append({item.include ? u"yours"_s : QString(), item.owner, item.task,
                     item.due ? item.due->toString(Qt::ISODate) : QString()});
    }
    return table(output,
                 {{.header = {}},
                  {.header = u"Owner"_s},
                  {.header = u"Task"_s, .flexible = true, .look = Look::bold},
                  {.header = u"Due"_s}},
                 rows);
}

QString draftText(const Output& output, const EventDraft& draft, const QStringList& clashes,
                  const QStringList& oddities) {
    QString text = output.styled(Output::clean(draft.title), Look::bold) + u'\n' + draft.whenText() + u'\n';
    if (!draft.with.isEmpty()) {
        text += Output::clean(u"With: "_s + draft.with.join(u", "_s)) + u'\n';
    }
    if (!oddities.isEmpty()) {
        text += output.styled(oddities.join(u' '), Look::bad) + u'\n';
    }
    if (!clashes.isEmpty()) {
        text += output.styled(Output::clean(u"Clashes with "_s + clashes.join(u", "_s)), Look::bad) + u'\n';
    }
    return text;
}

QString draftText(const Output& output, const EmailDraft& draft) {
    const auto line = [&output](const QString& name, const QString& value) {
        return output.styled(padded(name, 9), Look::dim) + Output::clean(value) + u'\n';
    };
    return line(u"To"_s, draft.to.join(u", "_s)) + line(u"Subject"_s, draft.subject) + u'\n' +
           Output::cleanLines(draft.body) + u'\n';
}

}  // namespace lumbro::cli
