#include "meetings/formats/PrepTime.h"

#include "LumbroCore/Literals.h"

#include <cmath>

namespace lumbro::prepTime {

QString phrase(const QDateTime& until, const QDateTime& now) {
    constexpr double millisecondsPerMinute = 60'000;
    const qint64 minutes = std::llround(double(now.msecsTo(until)) / millisecondsPerMinute);
    if (minutes == 0) {
        return u"now"_s;
    }
    return minutes > 0 ? u"in %1 min"_s.arg(minutes) : u"started %1 min ago"_s.arg(-minutes);
}

}  // namespace lumbro::prepTime
