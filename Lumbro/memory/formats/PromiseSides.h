#pragma once

#include "memory/formats/PromiseItem.h"

#include <QDate>
#include <QList>
#include <QString>

namespace lumbro {

/// The two sides of the promises list.
enum class PromiseSide { mine, theirs };

/// "I owe" and "Owed to me".
QString title(PromiseSide side);
/// What stands in place of an empty list.
QString emptyText(PromiseSide side);

/// One side of the list, as it is shown.
struct PromiseGroups {
    struct Group {
        PromiseItem::Urgency urgency = PromiseItem::Urgency::open;
        /// By due day, those without one last.
        QList<PromiseItem> promises;

        bool operator==(const Group&) const = default;
    };

    /// Open promises in the order of urgencies; empty groups are left out.
    QList<Group> open;
    QList<PromiseItem> done;

    bool operator==(const PromiseGroups&) const = default;

    static PromiseGroups of(const QList<PromiseItem>& promises, PromiseSide side, QDate today);
};

/// The promises to remind of: the user's own open ones that are not snoozed and overdue or due today, with
/// `includeSoon` also those due soon or waiting. The most pressing first.
QList<PromiseItem> duePromises(const QList<PromiseItem>& promises, bool includeSoon, QDate today);

}  // namespace lumbro
