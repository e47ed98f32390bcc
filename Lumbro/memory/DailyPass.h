#pragma once

#include "LumbroCore/Dates.h"

#include <QDateTime>
#include <QString>

/// What passes that run once a day have in common.
namespace lumbro::dailyPass {

/// Minutes since midnight by the clock on the wall, local time.
inline int minuteOfDay(const QDateTime& now) {
    const QTime time = now.toLocalTime().time();
    return time.hour() * 60 + time.minute();
}

/// Whether the day's pass has been made: `lastDay` is the stored day of the last one, `spent` the same as
/// this process knows it. Both may be empty. A later day than today counts too: the clock has gone back.
inline bool isSpent(const QDateTime& now, const QString& lastDay, const QString& spent) {
    const QString today = dates::day(now);
    return lastDay >= today || spent >= today;
}

}  // namespace lumbro::dailyPass
