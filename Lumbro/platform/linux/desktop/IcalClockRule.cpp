#include "platform/linux/desktop/IcalClockRule.h"

#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalTime.h"

#include <algorithm>
#include <limits>
#include <span>

namespace lumbro {

namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 secondsPerHour = 3600;
constexpr qint64 secondsPerMinute = 60;
/// A series of seconds that ends is followed up to this.
constexpr int mostSeconds = 1'000;

/// What one part of a rule lists.
std::span<const short> listed(std::span<const short> part) {
    return part.first(size_t(std::ranges::find(part, short(ICAL_RECURRENCE_ARRAY_MAX)) - part.begin()));
}

/// The numbers as bits; 0 when the part limits nothing.
quint64 bits(std::span<const short> part) {
    quint64 set = 0;
    for (const short number : listed(part)) {
        set |= number >= 0 && number < 64 ? quint64(1) << unsigned(number) : 0;
    }
    return set;
}

bool hasBit(quint64 set, qint64 number) {
    return set == 0 || (set & (quint64(1) << unsigned(number))) != 0;
}

/// Whether the part names this number, counted from the first, or from the last as -1.
bool names(std::span<const short> part, int number, int count) {
    const auto numbers = listed(part);
    return numbers.empty() || std::ranges::any_of(numbers, [&](short each) {
               return each == number || (each < 0 && count + 1 + each == number);
           });
}

qint64 floorTo(qint64 time, qint64 unit) {
    return time - ((time % unit + unit) % unit);
}

bool isSparse(const icalrecurrencetype& rule) {
    const size_t seconds = listed(rule.by_second).size();
    const bool isByMinutes = rule.freq != ICAL_SECONDLY_RECURRENCE || rule.interval >= secondsPerMinute;
    return seconds == 1 || (seconds == 0 && isByMinutes) || (rule.count > 0 && rule.count <= mostSeconds);
}

}  // namespace

bool IcalClockRule::isOne(const icalrecurrencetype& rule) {
    return rule.freq == ICAL_HOURLY_RECURRENCE || rule.freq == ICAL_MINUTELY_RECURRENCE ||
           rule.freq == ICAL_SECONDLY_RECURRENCE ||
           (rule.freq == ICAL_DAILY_RECURRENCE && !listed(rule.by_month_day).empty() &&
            listed(rule.by_set_pos).empty());
}

bool IcalClockRule::canFollow(const icalrecurrencetype& rule) {
    const bool hasPlaces = std::ranges::any_of(
        listed(rule.by_day), [](short day) { return icalrecurrencetype_day_position(day) != 0; });
    return isSparse(rule) && !hasPlaces && listed(rule.by_week_no).empty() && listed(rule.by_set_pos).empty();
}

IcalClockRule::IcalClockRule(const icalrecurrencetype& rule, qint64 start)
    : m_rule(rule),
      m_start(start),
      m_unit(rule.freq == ICAL_DAILY_RECURRENCE      ? secondsPerDay
             : rule.freq == ICAL_HOURLY_RECURRENCE   ? secondsPerHour
             : rule.freq == ICAL_MINUTELY_RECURRENCE ? secondsPerMinute
                                                     : 1),
      m_until(icaltime_is_null_time(rule.until) != 0 ? std::numeric_limits<qint64>::max()
                                                     : wallSeconds(rule.until)),
      m_hours(bits(rule.by_hour)),
      m_minutes(bits(rule.by_minute)),
      m_seconds(bits(rule.by_second)),
      m_weekdays(0) {
    for (const short day : listed(rule.by_day)) {
        m_weekdays |= 1U << unsigned(icalrecurrencetype_day_day_of_week(day));
    }
}

/// Counted in days since 1970.
bool IcalClockRule::isDay(qint64 day) const {
    const QDate date = QDate(1970, 1, 1).addDays(day);
    const bool isWeekday = m_weekdays == 0 || (m_weekdays & (1U << unsigned(date.dayOfWeek() % 7 + 1))) != 0;
    return isWeekday && names(m_rule.by_month, date.month(), 12) &&
           names(m_rule.by_month_day, date.day(), date.daysInMonth()) &&
           names(m_rule.by_year_day, date.dayOfYear(), date.daysInYear());
}

/// The period itself when the rule may have times in it; otherwise the next moment when that may be.
qint64 IcalClockRule::firstFit(qint64 period) const {
    const qint64 midnight = floorTo(period, secondsPerDay);
    if (!isDay(midnight / secondsPerDay)) {
        return midnight + secondsPerDay;
    }
    const qint64 time = period - midnight;
    if (m_unit < secondsPerDay && !hasBit(m_hours, time / secondsPerHour)) {
        return floorTo(period, secondsPerHour) + secondsPerHour;
    }
    if (m_unit < secondsPerHour && !hasBit(m_minutes, time / secondsPerMinute % 60)) {
        return floorTo(period, secondsPerMinute) + secondsPerMinute;
    }
    return m_unit == 1 && !hasBit(m_seconds, time % 60) ? period + 1 : period;
}

/// Where in a period its times are.
std::vector<qint64> IcalClockRule::offsets() const {
    const auto choose = [this](quint64 set, qint64 unit, qint64 count) {
        std::vector<qint64> numbers;
        const qint64 own = (m_start - floorTo(m_start, unit * count)) / unit;
        for (qint64 number = 0; number < count; ++number) {
            if (set == 0 ? number == own : hasBit(set, number)) {
                numbers.push_back(number * unit);
            }
        }
        return numbers;
    };
    const std::vector<qint64> none{0};
    std::vector<qint64> offsets;
    for (const qint64 hour : m_unit > secondsPerHour ? choose(m_hours, secondsPerHour, 24) : none) {
        for (const qint64 minute :
             m_unit > secondsPerMinute ? choose(m_minutes, secondsPerMinute, 60) : none) {
            for (const qint64 second : m_unit > 1 ? choose(m_seconds, 1, 60) : none) {
                offsets.push_back(hour + minute + second);
            }
        }
    }
    return offsets;
}

void IcalClockRule::follow(qint64 from, qint64 to, IcalBudget& budget,
                           const std::function<bool(qint64)>& take) const {
    const qint64 step = qint64(m_rule.interval) * m_unit;
    const std::vector<qint64> within = offsets();
    const qint64 last = std::min(to, m_until);
    qint64 period = floorTo(m_start, m_unit);
    if (m_rule.count == 0 && from - m_unit > period) {
        period += (from - m_unit - period) / step * step;
    }
    int counted = 0;
    while (period <= last && budget.payStep()) {
        if (const qint64 next = firstFit(period); next > period) {
            period += (next - period + step - 1) / step * step;
            continue;
        }
        for (const qint64 offset : within) {
            const qint64 time = period + offset;
            if (time < m_start) {
                continue;
            }
            const bool isOver = time > last || (m_rule.count > 0 && ++counted > m_rule.count);
            if (isOver || (time >= from && !take(time))) {
                return;
            }
        }
        period += step;
    }
}

}  // namespace lumbro
