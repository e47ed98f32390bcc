#include "platform/linux/desktop/IcalDayRule.h"

#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalTime.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <vector>

namespace lumbro {

namespace {

constexpr qint64 secondsPerDay = 86400;
/// Of a day or a week with more times, the later ones are left out.
constexpr size_t mostInPeriod = 2'000;

/// True when the part limits nothing.
template <size_t size>
bool isEmpty(const short (&part)[size]) {
    return part[0] == ICAL_RECURRENCE_ARRAY_MAX;
}

/// The days of the week that the rule names, Monday as bit 1; nothing when it names them by their place in a
/// month.
std::optional<unsigned> weekdays(const icalrecurrencetype& rule) {
    unsigned days = 0;
    for (const short day : rule.by_day) {
        if (day == ICAL_RECURRENCE_ARRAY_MAX) {
            break;
        }
        if (icalrecurrencetype_day_position(day) != 0) {
            return std::nullopt;
        }
        const int fromSunday = icalrecurrencetype_day_day_of_week(day) - 1;
        days |= 1U << unsigned(fromSunday == 0 ? 7 : fromSunday);
    }
    return days;
}

/// Its days follow from counting. The library takes some hundred times as long.
bool isPlain(const icalrecurrencetype& rule) {
    const bool isFreqPlain = rule.freq == ICAL_DAILY_RECURRENCE || rule.freq == ICAL_WEEKLY_RECURRENCE;
    const bool hasParts = !isEmpty(rule.by_minute) || !isEmpty(rule.by_hour) || !isEmpty(rule.by_month_day) ||
                          !isEmpty(rule.by_year_day) || !isEmpty(rule.by_week_no) ||
                          !isEmpty(rule.by_month) || !isEmpty(rule.by_set_pos);
    return isFreqPlain && !hasParts && weekdays(rule);
}

qint64 dayAt(qint64 place) {
    return QDate(1970, 1, 1).toJulianDay() + (place >= 0 ? place : place - secondsPerDay + 1) / secondsPerDay;
}

/// The library chooses by place within months and years only.
bool choosesPlaces(const icalrecurrencetype& rule) {
    return !isEmpty(rule.by_set_pos) &&
           (rule.freq == ICAL_DAILY_RECURRENCE || rule.freq == ICAL_WEEKLY_RECURRENCE);
}

/// The library goes wrong when it begins later than the rule.
bool isFromBeginning(const icalrecurrencetype& rule) {
    const bool hasOddWeeks = rule.freq == ICAL_WEEKLY_RECURRENCE && rule.interval > 1 &&
                             rule.week_start != ICAL_MONDAY_WEEKDAY && rule.week_start != ICAL_NO_WEEKDAY;
    return rule.count > 0 || hasOddWeeks || (!isEmpty(rule.by_set_pos) && !isEmpty(rule.by_hour));
}

/// Those that stand in the places that the rule names, counted from the first, or from the last as -1.
std::vector<icaltimetype> chosen(const std::vector<icaltimetype>& times, std::span<const short> places) {
    std::set<qsizetype> indices;
    for (const short place : places) {
        if (place == ICAL_RECURRENCE_ARRAY_MAX) {
            break;
        }
        const qsizetype index = place > 0 ? place - 1 : std::ssize(times) + place;
        if (index >= 0 && index < std::ssize(times)) {
            indices.insert(index);
        }
    }
    std::vector<icaltimetype> those;
    std::ranges::transform(indices, std::back_inserter(those), [&](qsizetype i) { return times[size_t(i)]; });
    return those;
}

/// The beginning of an event need not be a time that its rule gives.
bool gives(const icalrecurrencetype& rule, const icaltimetype& start) {
    const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> times(
        icalrecur_iterator_new(rule, start), icalrecur_iterator_free);
    return times && icaltime_compare(icalrecur_iterator_next(times.get()), start) == 0;
}

}  // namespace

bool IcalDayRule::canFollow(const icalrecurrencetype& rule) {
    const bool isKind = rule.freq == ICAL_DAILY_RECURRENCE || rule.freq == ICAL_WEEKLY_RECURRENCE ||
                        rule.freq == ICAL_MONTHLY_RECURRENCE || rule.freq == ICAL_YEARLY_RECURRENCE;
    return isKind && (isEmpty(rule.by_second) || rule.by_second[1] == ICAL_RECURRENCE_ARRAY_MAX);
}

void IcalDayRule::follow(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const {
    if (isPlain(m_rule)) {
        followPlain(from, to, budget, take);
    } else if (budget.beginLibrary()) {
        choosesPlaces(m_rule) ? followPlaces(from, to, budget, take) : followLibrary(from, to, budget, take);
        budget.endLibrary();
    }
}

void IcalDayRule::followPlain(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const {
    const unsigned onlyOn = weekdays(m_rule).value_or(0);
    const bool hasWeeks = m_rule.freq == ICAL_WEEKLY_RECURRENCE;
    const qint64 step = !hasWeeks ? m_rule.interval : onlyOn == 0 ? m_rule.interval * 7 : 1;
    const auto fits = [&](const QDate& date) {
        return onlyOn == 0 ||
               ((onlyOn & (1U << unsigned(date.dayOfWeek()))) != 0 &&
                (!hasWeeks || (periodOf(date) - periodOf(dayOf(m_start))) % m_rule.interval == 0));
    };
    const qint64 start = dayOf(m_start).toJulianDay();
    const bool ends = icaltime_is_null_time(m_rule.until) == 0;
    qint64 last = std::min(dayAt(to), QDate(2399, 12, 31).toJulianDay());
    last = ends ? std::min(last, dayOf(m_rule.until).toJulianDay()) : last;
    // What is counted is counted from the first one, unless it can be reckoned.
    const bool isCounted = m_rule.count > 0 && onlyOn != 0;
    last = m_rule.count > 0 && !isCounted ? std::min(last, start + (m_rule.count - 1) * step) : last;
    const qint64 skipped = isCounted ? 1 : (dayAt(from) - start + step - 1) / step;
    int counted = isCounted && fits(dayOf(m_start)) ? 1 : 0;
    for (qint64 day = start + step * std::max<qint64>(1, skipped); day <= last && budget.payStep();
         day += step) {
        const QDate date = QDate::fromJulianDay(day);
        if (!fits(date)) {
            continue;
        }
        icaltimetype time = m_start;
        date.getDate(&time.year, &time.month, &time.day);
        const bool isOver = (ends && m_start.is_date == 0 && icaltime_compare(time, m_rule.until) > 0) ||
                            (isCounted && ++counted > m_rule.count);
        if (isOver || !take(time)) {
            return;
        }
    }
}

void IcalDayRule::followLibrary(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const {
    const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> times(
        icalrecur_iterator_new(m_rule, m_start), icalrecur_iterator_free);
    if (!times) {
        return;
    }
    icaltimetype first = wallAt(from);
    first.is_date = m_start.is_date;
    if (!isFromBeginning(m_rule) && icaltime_compare(first, m_start) > 0) {
        icalrecur_iterator_set_start(times.get(), first);
    }
    const icaltimetype last = wallAt(to);
    while (budget.payStep()) {
        const icaltimetype time = icalrecur_iterator_next(times.get());
        if (icaltime_is_null_time(time) != 0 || !isDateLike(time) || icaltime_compare(time, last) > 0) {
            return;
        }
        if (icaltime_compare(time, first) >= 0 && icaltime_compare(time, m_start) > 0 && !take(time)) {
            return;
        }
    }
}

/// Counts the days, or the weeks from the day that the rule lets them begin with.
qint64 IcalDayRule::periodOf(const QDate& date) const {
    const qint64 day = date.toJulianDay();
    if (m_rule.freq == ICAL_DAILY_RECURRENCE) {
        return day;
    }
    // Julian days count from a Monday.
    const int begin = m_rule.week_start == ICAL_NO_WEEKDAY ? 0 : (int(m_rule.week_start) + 5) % 7;
    return (day - begin) / 7;
}

void IcalDayRule::followPlaces(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const {
    icalrecurrencetype all = m_rule;
    all.by_set_pos[0] = ICAL_RECURRENCE_ARRAY_MAX;
    all.count = 0;
    all.until = icaltime_null_time();
    int counted = 0;
    std::vector<icaltimetype> times;
    const auto takeChosen = [&] {
        for (const icaltimetype& time : chosen(times, m_rule.by_set_pos)) {
            const bool isOver =
                (m_rule.count > 0 && ++counted > m_rule.count) ||
                (icaltime_is_null_time(m_rule.until) == 0 && icaltime_compare(time, m_rule.until) > 0);
            if (isOver || (wallSeconds(time) >= from && icaltime_compare(time, m_start) > 0 && !take(time))) {
                return false;
            }
        }
        times.clear();
        return true;
    };
    // The period before may have begun earlier than the search.
    constexpr qint64 longestPeriod = 7 * secondsPerDay;
    const qint64 begin = m_rule.count > 0 ? wallSeconds(m_start) : from - longestPeriod;
    const qint64 firstWhole =
        begin <= wallSeconds(m_start) ? periodOf(dayOf(m_start)) : periodOf(dayOf(wallAt(begin))) + 1;
    bool goesOn = true;
    const auto gather = [&](const icaltimetype& time) {
        if (!times.empty() && periodOf(dayOf(time)) != periodOf(dayOf(times.back()))) {
            goesOn = takeChosen();
        }
        if (goesOn && periodOf(dayOf(time)) >= firstWhole && times.size() < mostInPeriod) {
            times.push_back(time);
        }
        return goesOn;
    };
    if (periodOf(dayOf(m_start)) >= firstWhole && gives(all, m_start)) {
        gather(m_start);
    }
    const IcalDayRule each(all, m_start);
    isPlain(all) ? each.followPlain(begin, to + longestPeriod, budget, gather)
                 : each.followLibrary(begin, to + longestPeriod, budget, gather);
    if (goesOn) {
        takeChosen();
    }
}

}  // namespace lumbro
