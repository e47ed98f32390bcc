#pragma once

#include <QByteArrayView>

namespace lumbro {

/// What can be said of a calendar file without understanding it, at the cost of one pass over its bytes: most
/// files of a calendar hold one event of some other year.
struct IcalOutline {
    /// The file ends as it should: one that doesn't may be written at this moment.
    bool isWhole = false;
    /// Something begins in it.
    bool isCalendar = false;
    /// It ends before all has ended that begins in it.
    bool isTorn = false;
    bool hasEvents = false;
    bool hasTasks = false;
    /// Events may be at any time: they recur, or their times are in a form that is not looked into here.
    bool isAnyTime = false;
    /// The days that the events lie on, in whatever zone their times stand: Julian days.
    qint64 firstDay = 0;
    qint64 lastDay = -1;

    bool operator==(const IcalOutline&) const = default;

    /// Any bytes.
    static IcalOutline of(QByteArrayView bytes);
    /// False when surely no event touches the time from `from` to `to` (seconds since 1970).
    bool mayTouch(qint64 from, qint64 to) const;
};

}  // namespace lumbro
