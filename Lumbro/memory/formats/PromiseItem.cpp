#include "memory/formats/PromiseItem.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/formats/MemoryText.h"
#include "memory/formats/PromiseDates.h"

#include <QLocale>

#include <algorithm>

namespace lumbro {

namespace {

constexpr QStringView dot = u" · ";
constexpr QStringView arrow = u"→";
constexpr QStringView dueMark = u"due ";
constexpr QStringView snoozedMark = u"snoozed ";
constexpr QStringView openBox = u"- [ ] ";
constexpr QStringView tickedBox = u"- [x] ";

constexpr int soonDays = 3;
constexpr int waitingDays = 2;
constexpr int weekLength = 7;

void readPart(PromiseItem& promise, QStringView part) {
    const QList<QStringView> sides = WikiLink::split(part, arrow);
    if (sides.size() > 1) {
        promise.owner = trimmedBlanks(sides[0]).toString();
        promise.recipient = trimmedBlanks(sides[1]).toString();
        const auto link = WikiLink::first(sides[1]);
        promise.recipientSlug = link ? link->personSlug() : std::nullopt;
    } else if (part.startsWith(dueMark)) {
        promise.due = part.sliced(dueMark.size()).toString();
    } else if (part.startsWith(snoozedMark)) {
        promise.snoozedUntil = part.sliced(snoozedMark.size()).toString();
    } else if (part.contains(u"[[captures/")) {
        promise.source = WikiLink::first(part);
    } else if (PromiseDates::looksLikeDay(part)) {
        promise.date = part.toString();
    }
}

/// The id of a line without an anchor. What a tick or a snooze changes is no part of it.
QString idOf(const QList<QStringView>& parts) {
    QString lasting = openBox.toString() + parts.first().toString();
    for (const QStringView part : parts.sliced(1)) {
        lasting += part.startsWith(snoozedMark) ? QString() : dot.toString() + part.toString();
    }
    return memoryText::lineId(PromiseItem::madeID(), lasting);
}

/// A name of the line without what would end its part.
QString plainName(QStringView side) {
    const QString name = WikiLink::plain(side);
    return trimmedBlanks(name).toString();
}

QString abbreviatedWeekday(QDate day) {
    return QLocale().toString(day, u"ddd"_s);
}

QString abbreviatedDay(QDate day) {
    return QLocale().toString(day, u"MMM d"_s);
}

}  // namespace

std::optional<PromiseItem> PromiseItem::parse(QStringView line) {
    QStringView rest = memoryText::trimmedLine(line);
    const bool isOpen = rest.startsWith(openBox);
    if (!isOpen && !rest.startsWith(tickedBox, Qt::CaseInsensitive)) {
        return std::nullopt;
    }
    PromiseItem promise;
    promise.done = !isOpen;
    rest = memoryText::withoutAnchor(rest.sliced(openBox.size()), promise.id);
    const QList<QStringView> parts = WikiLink::split(rest, dot);
    if (promise.id.isEmpty()) {
        promise.id = idOf(parts);
    }
    promise.text = parts.first().toString();
    for (const QStringView part : parts.sliced(1)) {
        readPart(promise, part);
    }
    return promise;
}

QString PromiseItem::line() const {
    QString written = (done ? u"- [x] "_s : u"- [ ] "_s) + text + u" · "_s + owner + u" → "_s + recipient;
    if (!due.isEmpty()) {
        written += u" · due "_s + due;
    }
    if (source) {
        written += u" · "_s + source->text();
    }
    written += u" · "_s + date;
    if (!snoozedUntil.isEmpty()) {
        written += u" · snoozed "_s + snoozedUntil;
    }
    return written + u" ^"_s + id;
}

std::optional<QDate> PromiseItem::dueDate(QDate today) const {
    return PromiseDates::parse(due, PromiseDates::day(date), today);
}

PromiseItem::Urgency PromiseItem::urgency(QDate today) const {
    const auto dueDay = dueDate(today);
    if (!dueDay) {
        const auto made = PromiseDates::day(date);
        return made && made->daysTo(today) > waitingDays ? Urgency::waiting : Urgency::open;
    }
    const qint64 days = today.daysTo(*dueDay);
    if (days <= 0) {
        return days < 0 ? Urgency::overdue : Urgency::today;
    }
    return days <= soonDays ? Urgency::soon : Urgency::open;
}

bool PromiseItem::isMine() const {
    const QString name = plainName(owner);
    return name.isEmpty() || name.compare(u"me", Qt::CaseInsensitive) == 0;
}

QString PromiseItem::otherName() const {
    return plainName(isMine() ? recipient : owner);
}

std::optional<QString> PromiseItem::otherSlug() const {
    const auto link = WikiLink::first(isMine() ? recipient : owner);
    return link ? link->personSlug() : std::nullopt;
}

bool PromiseItem::isSnoozed(QDate today) const {
    const auto until = PromiseDates::day(snoozedUntil);
    return until && *until > today;
}

QStringList PromiseItem::involvesSlugs() const {
    QStringList slugs;
    for (const WikiLink& link : WikiLink::all(QString(owner + u' ' + recipient))) {
        if (const auto slug = link.personSlug()) {
            slugs.append(*slug);
        }
    }
    return slugs;
}

bool PromiseItem::involves(const QString& slug) const {
    const QStringList slugs = involvesSlugs();
    return std::ranges::any_of(slugs,
                               [&slug](const QString& one) { return comparable(one) == comparable(slug); });
}

QString PromiseItem::ageText(QDate today) const {
    const auto made = PromiseDates::day(date);
    if (!made) {
        return {};
    }
    const qint64 days = made->daysTo(today);
    if (days < 1) {
        return u"today"_s;
    }
    return days == 1 ? u"yesterday"_s : u"%1 days ago"_s.arg(days);
}

QString PromiseItem::dueText(QDate today) const {
    const auto dueDay = dueDate(today);
    if (!dueDay) {
        return due.isEmpty() ? QString() : u"Due "_s + due;
    }
    const qint64 days = today.daysTo(*dueDay);
    if (days < 0) {
        return days == -1 ? u"1 day late"_s : u"%1 days late"_s.arg(-days);
    }
    if (days <= 1) {
        return days == 0 ? u"Due today"_s : u"Due tomorrow"_s;
    }
    return u"Due "_s + (days < weekLength ? abbreviatedWeekday(*dueDay) : abbreviatedDay(*dueDay));
}

QString rawValue(PromiseItem::Urgency urgency) {
    switch (urgency) {
        case PromiseItem::Urgency::overdue:
            return u"overdue"_s;
        case PromiseItem::Urgency::today:
            return u"today"_s;
        case PromiseItem::Urgency::soon:
            return u"soon"_s;
        case PromiseItem::Urgency::waiting:
            return u"waiting"_s;
        case PromiseItem::Urgency::open:
            return u"open"_s;
    }
    return {};
}

QString heading(PromiseItem::Urgency urgency) {
    switch (urgency) {
        case PromiseItem::Urgency::overdue:
            return u"Overdue"_s;
        case PromiseItem::Urgency::today:
            return u"Due today"_s;
        case PromiseItem::Urgency::soon:
            return u"Due soon"_s;
        case PromiseItem::Urgency::waiting:
            return u"Waiting"_s;
        case PromiseItem::Urgency::open:
            return u"Open"_s;
    }
    return {};
}

}  // namespace lumbro
