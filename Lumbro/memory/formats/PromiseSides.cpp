#include "memory/formats/PromiseSides.h"

#include "LumbroCore/Literals.h"

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

/// Those without a due day come last.
QDate sortDay(const PromiseItem& promise, QDate today) {
    return promise.dueDate(today).value_or(QDate(9999, 12, 31));
}

/// By urgency, then by due day; equal ones stay in the order of the file.
void sortByUrgency(QList<PromiseItem>& promises, QDate today) {
    std::ranges::stable_sort(promises, {}, [today](const PromiseItem& promise) {
        return std::pair(promise.urgency(today), sortDay(promise, today));
    });
}

}  // namespace

QString title(PromiseSide side) {
    return side == PromiseSide::mine ? u"I owe"_s : u"Owed to me"_s;
}

QString emptyText(PromiseSide side) {
    return side == PromiseSide::mine ? u"You don't owe anyone anything right now."_s
                                     : u"Nobody owes you anything right now."_s;
}

PromiseGroups PromiseGroups::of(const QList<PromiseItem>& promises, PromiseSide side, QDate today) {
    PromiseGroups groups;
    QList<PromiseItem> open;
    for (const PromiseItem& promise : promises) {
        if (promise.isMine() == (side == PromiseSide::mine)) {
            (promise.done ? groups.done : open).append(promise);
        }
    }
    sortByUrgency(open, today);
    for (const PromiseItem& promise : std::as_const(open)) {
        const PromiseItem::Urgency urgency = promise.urgency(today);
        if (groups.open.isEmpty() || groups.open.last().urgency != urgency) {
            groups.open.append({urgency, {}});
        }
        groups.open.last().promises.append(promise);
    }
    return groups;
}

QList<PromiseItem> duePromises(const QList<PromiseItem>& promises, bool includeSoon, QDate today) {
    QList<PromiseItem> due;
    for (const PromiseItem& promise : promises) {
        if (promise.done || !promise.isMine() || promise.isSnoozed(today)) {
            continue;
        }
        const PromiseItem::Urgency last =
            includeSoon ? PromiseItem::Urgency::waiting : PromiseItem::Urgency::today;
        if (promise.urgency(today) <= last) {
            due.append(promise);
        }
    }
    sortByUrgency(due, today);
    return due;
}

}  // namespace lumbro
