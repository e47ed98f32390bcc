#pragma once

#include "memory/formats/PromiseItem.h"

#include <QDate>

namespace lumbro::cli {

/// Which promises are asked for.
struct PromiseFilter {
    bool mine = true;
    bool theirs = true;
    /// Only those that are late, due soon or waiting, and neither done nor snoozed.
    bool dueOnly = false;

    bool has(const PromiseItem& promise, QDate today) const {
        const bool isOfSide = promise.isMine() ? mine : theirs;
        return isOfSide && (!dueOnly || (!promise.done && !promise.isSnoozed(today) &&
                                         promise.urgency(today) != PromiseItem::Urgency::open));
    }
};

}  // namespace lumbro::cli
