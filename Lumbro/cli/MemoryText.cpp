#include "cli/MemoryText.h"

#include "cli/Table.h"

namespace lumbro::cli {

namespace {

QString heading(const Output& output, const QString& text) {
    return u'\n' + output.styled(u"## "_s + text, Look::bold) + u"\n\n"_s;
}

QString fact(const Output& output, const QString& name, const QString& value) {
    return value.isEmpty() ? QString()
                           : output.styled(padded(name, 11), Look::dim) + Output::clean(value) + u'\n';
}

QString aboutText(const Output& output, const MemoryEntity& page) {
    QString text;
    for (const QString& about : page.about) {
        text += u"- "_s + Output::clean(WikiLink::plain(about)) + u'\n';
    }
    return text.isEmpty() ? text : heading(output, u"About"_s) + text;
}

QString timelineText(const Output& output, const MemoryEntity& page) {
    QString text;
    for (const TimelineEntry& entry : page.timeline) {
        text += entry.date.isEmpty() ? u"- "_s : output.styled(entry.date, Look::dim) + u"  "_s;
        text += Output::clean(entry.text);
        if (entry.source) {
            text += output.styled(u"  (%1)"_s.arg(Output::clean(entry.source->title)), Look::dim);
        }
        text += u'\n';
    }
    return text.isEmpty() ? text : heading(output, u"Timeline"_s) + text;
}

QString meetingsText(const Output& output, const QList<CaptureRecord>& captures) {
    QString text;
    for (const CaptureRecord& capture : captures) {
        text +=
            output.styled(capture.id(), Look::accent) + u"  "_s + Output::clean(capture.meta.title) + u'\n';
    }
    return text.isEmpty() ? text : heading(output, u"Meetings"_s) + text;
}

QString dueCell(const PromiseItem& promise, QDate today) {
    QStringList parts{promise.done ? QString() : promise.dueText(today)};
    if (!promise.done && promise.isSnoozed(today)) {
        parts += u"Snoozed until "_s + promise.snoozedUntil;
    }
    parts.removeAll(QString());
    return Output::clean(parts.join(u", "_s));
}

QStringList promiseRow(const PromiseItem& promise, QDate today) {
    return {Output::clean(promise.id), Output::clean(WikiLink::plain(promise.text)),
            Output::clean(promise.otherName()), dueCell(promise, today), promise.ageText(today)};
}

QList<Column> promiseColumns(const QString& other) {
    return {{u"ID"_s, false, false, Look::accent},
            {u"WHAT"_s, false, true, Look::bold},
            {other, false, true},
            {u"DUE"_s},
            {u"MADE"_s, false, false, Look::dim}};
}

QString personPromises(const Output& output, const PageContext& around, QDate today) {
    QString text;
    for (const PromiseSide side : {PromiseSide::mine, PromiseSide::theirs}) {
        QList<QStringList> rows;
        const PromiseGroups groups = PromiseGroups::of(around.promises, side, today);
        for (const PromiseGroups::Group& group : groups.open) {
            for (const PromiseItem& promise : group.promises) {
                rows += promiseRow(promise, today);
            }
        }
        const QString other = side == PromiseSide::mine ? u"TO"_s : u"FROM"_s;
        text += rows.isEmpty() ? QString()
                               : heading(output, title(side)) + table(output, promiseColumns(other), rows);
    }
    return text;
}

}  // namespace

QString pageTable(const Output& output, const QList<MemoryEntity>& pages) {
    QList<QStringList> rows;
    for (const MemoryEntity& page : pages) {
        rows += {Output::clean(page.id), Output::clean(page.name), Output::clean(page.subtitle),
                 Output::clean(page.lastSeen), Output::clean(page.emails.value(0))};
    }
    const bool isProjects = !pages.isEmpty() && pages.first().kind == MemoryEntity::Kind::project;
    return table(output,
                 {{u"SLUG"_s, false, true, Look::accent},
                  {u"NAME"_s, false, true, Look::bold},
                  {isProjects ? u"STATUS"_s : u"ROLE"_s, false, true},
                  {u"LAST SEEN"_s},
                  {u"E-MAIL"_s, false, true}},
                 rows);
}

QString companyTable(const Output& output, const QList<Company>& companies) {
    QList<QStringList> rows;
    for (const Company& company : companies) {
        rows +=
            {Output::clean(company.domain), Output::clean(company.name),
             QString::number(company.captureIDs.size()), Output::clean(company.personSlugs.join(u", "_s))};
    }
    return table(output,
                 {{u"DOMAIN"_s, false, false, Look::accent},
                  {u"NAME"_s, false, true, Look::bold},
                  {u"MEETINGS"_s, true},
                  {u"PEOPLE"_s, false, true}},
                 rows);
}

QString ideaTable(const Output& output, const QList<IdeaItem>& ideas) {
    QList<QStringList> rows;
    for (const IdeaItem& idea : ideas) {
        rows += {Output::clean(idea.date), Output::clean(idea.hook), Output::clean(idea.angle),
                 Output::clean(idea.source ? idea.source->title : QString())};
    }
    return table(output,
                 {{u"DATE"_s, false, false, Look::dim},
                  {u"HOOK"_s, false, true, Look::bold},
                  {u"ANGLE"_s, false, true},
                  {u"FROM"_s, false, true, Look::dim}},
                 rows);
}

QString pageText(const Output& output, const MemoryEntity& page, const PageContext& around, QDate today) {
    QString text = output.styled(Output::clean(page.name), Look::bold) + u'\n';
    text += page.subtitle.isEmpty() ? QString() : Output::clean(page.subtitle) + u'\n';
    text += u'\n' + fact(output, u"slug"_s, page.id);
    text += fact(output, u"e-mail"_s, page.emails.join(u", "_s));
    text += fact(output, u"last seen"_s, page.lastSeen);
    text += fact(output, u"file"_s, page.url);
    return text + aboutText(output, page) + personPromises(output, around, today) +
           timelineText(output, page) + meetingsText(output, around.captures);
}

QString promiseText(const Output& output, PromiseSide side, const PromiseGroups& groups, bool withDone,
                    QDate today) {
    QString text = output.styled(title(side), Look::bold) + u'\n';
    QList<QStringList> rows;
    // Heading of a group, by the row it stands above.
    QMap<qsizetype, QString> headings;
    for (const PromiseGroups::Group& group : groups.open) {
        const bool isLate = group.urgency == PromiseItem::Urgency::overdue;
        headings[rows.size()] =
            output.styled(lumbro::heading(group.urgency), isLate ? Look::bad : Look::good);
        for (const PromiseItem& promise : group.promises) {
            rows += promiseRow(promise, today);
        }
    }
    if (withDone && !groups.done.isEmpty()) {
        headings[rows.size()] = output.styled(u"Done"_s, Look::dim);
        for (const PromiseItem& promise : groups.done) {
            rows += promiseRow(promise, today);
        }
    }
    if (groups.open.isEmpty()) {
        text += emptyText(side) + u'\n';
    }
    if (rows.isEmpty()) {
        return text;
    }
    // One table, so that all groups are aligned; its first line is the header.
    const QString other = side == PromiseSide::mine ? u"TO"_s : u"FROM"_s;
    const QStringList lines = table(output, promiseColumns(other), rows).split(u'\n');
    text += lines.first() + u'\n';
    for (qsizetype row = 0; row < rows.size(); ++row) {
        text += headings.contains(row) ? headings.value(row) + u'\n' : QString();
        text += lines.value(row + 1) + u'\n';
    }
    return text;
}

}  // namespace lumbro::cli
