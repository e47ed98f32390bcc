#include "cli/AskText.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "cli/Table.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

/// The command that shows a place of the library.
QString commandFor(const SidebarItem& item) {
    using Kind = SidebarItem::Kind;
    switch (item.kind) {
        case Kind::capture:
            return u"lumbro show "_s + item.id;
        case Kind::person:
            return u"lumbro person "_s + item.id;
        case Kind::project:
            return u"lumbro project "_s + item.id;
        case Kind::ideas:
            return u"lumbro ideas"_s;
        default:
            return u"lumbro promises"_s;
    }
}

/// Empty for what people wrote without a date.
QString dateText(const QDateTime& date) {
    return date.date().year() > 1 ? dates::readable(date) : QString();
}

QString turnText(const Output& output, const AskTurn& turn) {
    QStringList head{u"Me"_s, turn.engine ? u'/' + Output::clean(*turn.engine) : QString(),
                     dateText(turn.date)};
    head.removeAll({});
    QString text = u'\n' + output.styled(head.join(u" · "_s), Look::dim) + u'\n' +
                   output.styled(Output::cleanLines(turn.question), Look::bold) + u"\n\n"_s +
                   Output::cleanLines(turn.answer) + u'\n';
    if (turn.action) {
        text += output.styled(u"Prepared for "_s + Output::clean(*turn.action), Look::dim) + u'\n';
    }
    return text + sourcesText(output, turn.sources);
}

}  // namespace

QString askTable(const Output& output, const QList<AskThread>& threads) {
    QList<QStringList> rows;
    rows.reserve(threads.size());
    for (const AskThread& thread : threads) {
        const bool isOnPart = thread.scope && thread.scope->kind != AskScope::Kind::library;
        rows += {Output::clean(thread.id), Output::clean(thread.title), dateText(thread.updated()),
                 QString::number(thread.turns.size()),
                 isOnPart ? Output::clean(thread.scope->token()) : QString()};
    }
    return table(output,
                 {{u"ID"_s, false, false, Look::accent},
                  {u"TITLE"_s, false, true, Look::bold},
                  {u"UPDATED"_s},
                  {u"ANSWERS"_s, true},
                  {u"ABOUT"_s, false, true}},
                 rows);
}

QString askText(const Output& output, const AskThread& thread) {
    QString text = output.styled(u"# "_s + Output::clean(thread.title), Look::bold) + u'\n';
    if (thread.scope && thread.scope->kind != AskScope::Kind::library) {
        text += output.styled(u"About "_s + Output::clean(thread.scope->token()), Look::dim) + u'\n';
    }
    for (const AskTurn& turn : thread.turns) {
        text += turnText(output, turn);
    }
    return text;
}

QString sourcesText(const Output& output, const QList<AskSource>& sources) {
    if (sources.isEmpty()) {
        return {};
    }
    constexpr int indent = 2;
    constexpr int leastTitle = 12;
    int width = 0;
    int most = output.width();
    for (const AskSource& source : sources) {
        width = std::max(width, displayWidth(Output::clean(source.title)));
        most = std::min(most, output.width() - 2 * indent - displayWidth(commandFor(source.item)));
    }
    width = std::min(width, std::max(leastTitle, most));
    QString text = output.styled(u"Sources:"_s, Look::bold) + u'\n';
    for (const AskSource& source : sources) {
        text += u"  "_s + padded(fitted(Output::clean(source.title), width), width) + u"  "_s +
                output.styled(Output::clean(commandFor(source.item)), Look::accent) + u'\n';
    }
    return text;
}

}  // namespace lumbro::cli
