#include "actions/formats/ActionItem.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "actions/formats/VisibleText.h"
#include "memory/formats/PromiseDates.h"

#include <QRegularExpression>

#include <array>
#include <utility>

namespace lumbro {

namespace {

/// A separator further in belongs to the task's own words.
constexpr qsizetype mostOwnerLetters = 30;

std::pair<QString, QString> ownerAndTask(const QString& text) {
    static const std::array separators{u" — "_s, u" – "_s, u" - "_s, u": "_s};
    for (const QString& separator : separators) {
        const qsizetype at = text.indexOf(separator);
        if (at >= 0 && at < mostOwnerLetters) {
            return {text.first(at).trimmed(), text.sliced(at + separator.size())};
        }
    }
    return {QString(), text};
}

/// Takes the day in the brackets at the task's end out of it. Brackets without a day stay.
std::optional<QDate> takeDue(QString& task, std::optional<QDate> madeOn, QDate today) {
    static const QRegularExpression word(u"^due\\s+"_s);
    const QString trimmed = task.trimmed();
    if (!trimmed.endsWith(u')')) {
        return std::nullopt;
    }
    const qsizetype before = trimmed.lastIndexOf(u')', -2);
    const qsizetype open = trimmed.indexOf(u'(', before + 1);
    if (open < 0) {
        return std::nullopt;
    }
    QString inside = trimmed.sliced(open + 1).chopped(1);
    inside.remove(word);
    const auto due = PromiseDates::parse(inside, madeOn, today);
    if (due) {
        task = trimmed.first(open);
    }
    return due;
}

}  // namespace

QList<ActionItem> ActionItem::parse(const QString& text, std::optional<QDate> madeOn, QDate today) {
    QList<ActionItem> items;
    for (const QString& line : text.split(u'\n')) {
        const QString bare = line.trimmed();
        if (!bare.startsWith(u"- [ ] ")) {
            continue;
        }
        auto [owner, task] = ownerAndTask(bare.sliced(6).remove(u"**"_s));
        ActionItem item;
        item.id = static_cast<int>(items.size());
        item.owner = visibleText(owner);
        task = visibleText(task);
        item.due = takeDue(task, madeOn, today);
        item.task = visibleText(task);
        const QString who = item.owner.toLower();
        item.include = who == u"me" || who == u"i" || who.isEmpty();
        items.append(item);
    }
    return items;
}

}  // namespace lumbro
