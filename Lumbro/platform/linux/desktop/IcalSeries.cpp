#include "platform/linux/desktop/IcalSeries.h"

#include "platform/linux/desktop/IcalBudget.h"

#include <algorithm>

namespace lumbro {

namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 longest = 366 * secondsPerDay;
constexpr size_t mostDates = 10'000;
constexpr size_t mostRules = 8;

/// True when the part limits nothing.
template <size_t size>
bool isEmpty(const short (&part)[size]) {
    return part[0] == ICAL_RECURRENCE_ARRAY_MAX;
}

/// Whether the next time can always be found in little time. What recurs by the minute is no meeting, and
/// within an hour's rule the library would try each hour up to the end of its calendar.
bool isFollowed(const icalrecurrencetype& rule) {
    switch (rule.freq) {
        case ICAL_DAILY_RECURRENCE:
        case ICAL_WEEKLY_RECURRENCE:
        case ICAL_MONTHLY_RECURRENCE:
        case ICAL_YEARLY_RECURRENCE:
            break;
        case ICAL_HOURLY_RECURRENCE:
            if (!isEmpty(rule.by_day) || !isEmpty(rule.by_month) || !isEmpty(rule.by_month_day) ||
                !isEmpty(rule.by_year_day) || !isEmpty(rule.by_week_no) || !isEmpty(rule.by_hour)) {
                return false;
            }
            break;
        default:
            return false;
    }
    return rule.interval > 0 && rule.count >= 0 && isEmpty(rule.by_second);
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
    const bool areDaysPlain =
        isEmpty(rule.by_day) || (weekdays(rule) && rule.interval == 1 && rule.count == 0);
    return isFreqPlain && !hasParts && areDaysPlain;
}

/// The times that the values of EXDATE and RDATE name.
icaltimetype timeOf(icalproperty* property) {
    const icaldatetimeperiodtype value = icalvalue_get_datetimeperiod(icalproperty_get_value(property));
    return icaltime_is_null_time(value.time) != 0 ? value.period.start : value.time;
}

qint64 dayKey(const icaltimetype& time) {
    return dayOf(time).toJulianDay();
}

bool touches(const IcalSpan& span, qint64 from, qint64 to) {
    // What takes no time is there at its moment.
    return span.start < to && (span.end > from || (span.start == span.end && span.start >= from));
}

}  // namespace

std::optional<IcalSeries> IcalSeries::read(icalcomponent* event, IcalZones& zones) {
    icalproperty* start = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
    if (start == nullptr || !isDateLike(icalproperty_get_dtstart(start))) {
        return std::nullopt;
    }
    IcalSeries series;
    series.m_start = icalproperty_get_dtstart(start);
    series.m_zone = zones.of(start, series.m_start);
    series.m_isAllDay = series.m_start.is_date != 0;
    series.m_start.zone = nullptr;
    series.readLength(event, zones);
    series.readRules(event);
    series.readDates(event, zones);
    return series;
}

void IcalSeries::readLength(icalcomponent* event, IcalZones& zones) {
    m_length = m_isAllDay ? 1 : 0;
    if (icalproperty* end = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY)) {
        const icaltimetype time = icalproperty_get_dtend(end);
        if (isDateLike(time)) {
            m_length = m_isAllDay ? dayOf(m_start).daysTo(dayOf(time))
                                  : zones.of(end, time).moment(time) - m_zone.moment(m_start);
        }
    } else if (icalproperty* length = icalcomponent_get_first_property(event, ICAL_DURATION_PROPERTY)) {
        const qint64 seconds = icaldurationtype_as_int(icalproperty_get_duration(length));
        m_length = m_isAllDay ? seconds / secondsPerDay : seconds;
    }
    m_length =
        std::clamp<qint64>(m_length, m_isAllDay ? 1 : 0, m_isAllDay ? longest / secondsPerDay : longest);
}

void IcalSeries::readRules(icalcomponent* event) {
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
         property != nullptr && m_rules.size() < mostRules;
         property = icalcomponent_get_next_property(event, ICAL_RRULE_PROPERTY)) {
        icalrecurrencetype rule = icalproperty_get_rrule(property);
        const bool isOurCalendar = rule.rscale == nullptr || QByteArray(rule.rscale) == "GREGORIAN";
        rule.rscale = nullptr;  // The property's own, gone with it.
        if (!isFollowed(rule) || !isOurCalendar) {
            continue;
        }
        // The library compares with what the clocks show.
        if (icaltime_is_null_time(rule.until) == 0) {
            if (icaltime_is_utc(rule.until) != 0 && !m_isAllDay && isDateLike(rule.until)) {
                rule.until = m_zone.wall(IcalZone::utc().moment(rule.until));
            } else if (rule.until.is_date != 0 && !m_isAllDay) {
                rule.until.is_date = 0;
                rule.until.hour = 23;
                rule.until.minute = rule.until.second = 59;
            }
            rule.until.zone = nullptr;
        }
        m_rules.push_back(rule);
    }
}

void IcalSeries::readDates(icalcomponent* event, IcalZones& zones) {
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
         property != nullptr && size_t(m_leftOut.size() + m_leftOutDays.size()) < mostDates;
         property = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
        if (const icaltimetype time = icalproperty_get_exdate(property); isDateLike(time)) {
            const bool isDay = time.is_date != 0 || m_isAllDay;
            leaveOut(isDay ? dayKey(time) : zones.of(property, time).moment(time), isDay);
        }
    }
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY);
         property != nullptr && m_more.size() < mostDates;
         property = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
        if (const icaltimetype time = timeOf(property); isDateLike(time)) {
            const bool isDay = time.is_date != 0 || m_isAllDay;
            m_more.push_back(isDay ? time : m_zone.wall(zones.of(property, time).moment(time)));
        }
    }
}

std::optional<qint64> IcalSeries::keyOf(icalcomponent* event, IcalZones& zones, bool& isDay) {
    icalproperty* property = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY);
    if (property == nullptr) {
        return std::nullopt;
    }
    const icaltimetype time = icalproperty_get_recurrenceid(property);
    if (!isDateLike(time)) {
        return std::nullopt;
    }
    isDay = time.is_date != 0;
    return isDay ? dayKey(time) : zones.of(property, time).moment(time);
}

void IcalSeries::repeatNoMore() {
    m_rules.clear();
    m_more.clear();
    m_leftOut.clear();
    m_leftOutDays.clear();
}

void IcalSeries::leaveOut(qint64 key, bool isDay) {
    (isDay ? m_leftOutDays : m_leftOut).insert(key);
}

bool IcalSeries::isLeftOut(const icaltimetype& wall) const {
    if (m_leftOutDays.contains(dayKey(wall))) {
        return true;
    }
    return !m_leftOut.isEmpty() && m_leftOut.contains(span(wall).start);
}

IcalSpan IcalSeries::span(const icaltimetype& wall) const {
    if (m_isAllDay) {
        const QDate day = dayOf(wall);
        return {day.startOfDay().toSecsSinceEpoch(), day.addDays(m_length).startOfDay().toSecsSinceEpoch()};
    }
    const qint64 start = m_zone.moment(wall);
    return {start, start + m_length};
}

void IcalSeries::followPlain(const icalrecurrencetype& rule, qint64 from, qint64 to, IcalBudget& budget,
                             std::vector<IcalSpan>& found) const {
    const unsigned onlyOn = weekdays(rule).value_or(0);
    const qint64 step = onlyOn != 0 ? 1 : rule.interval * (rule.freq == ICAL_WEEKLY_RECURRENCE ? 7 : 1);
    const qint64 start = dayKey(m_start);
    const qint64 epoch = QDate(1970, 1, 1).toJulianDay();
    const qint64 days = m_isAllDay ? m_length : m_length / secondsPerDay + 1;
    // Zones are at most a day apart.
    const qint64 earliest = epoch + from / secondsPerDay - days - 2;
    qint64 last = std::min(epoch + to / secondsPerDay + 2, QDate(2399, 12, 31).toJulianDay());
    const bool ends = icaltime_is_null_time(rule.until) == 0;
    last = rule.count > 0 ? std::min(last, start + (rule.count - 1) * step) : last;
    last = ends ? std::min(last, dayKey(rule.until)) : last;
    const qint64 first = start + step * std::max<qint64>(1, (earliest - start + step - 1) / step);
    for (qint64 day = first; day <= last && budget.payStep(); day += step) {
        const QDate date = QDate::fromJulianDay(day);
        if (onlyOn != 0 && (onlyOn & (1U << unsigned(date.dayOfWeek()))) == 0) {
            continue;
        }
        icaltimetype time = m_start;
        date.getDate(&time.year, &time.month, &time.day);
        const bool isOver = ends && !m_isAllDay && icaltime_compare(time, rule.until) > 0;
        if (!isOver && !isLeftOut(time) && !add(time, from, to, budget, found)) {
            return;
        }
    }
}

/// False when nothing more may be added.
bool IcalSeries::add(const icaltimetype& wall, qint64 from, qint64 to, IcalBudget& budget,
                     std::vector<IcalSpan>& found) const {
    const IcalSpan time = span(wall);
    if (!touches(time, from, to)) {
        return true;
    }
    if (!budget.payOccurrence()) {
        return false;
    }
    found.push_back(time);
    return true;
}

void IcalSeries::follow(icalrecurrencetype rule, qint64 from, qint64 to, IcalBudget& budget,
                        std::vector<IcalSpan>& found) const {
    const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> times(
        icalrecur_iterator_new(rule, m_start), icalrecur_iterator_free);
    if (!times) {
        return;
    }
    const qint64 length = m_isAllDay ? m_length * secondsPerDay : m_length;
    // Zones are at most a day apart.
    icaltimetype first = IcalZone::utc().wall(from - length - 2 * secondsPerDay);
    first.is_date = m_start.is_date;
    if (rule.count == 0 && icaltime_compare(first, m_start) > 0) {
        icalrecur_iterator_set_start(times.get(), first);
    }
    const icaltimetype last = IcalZone::utc().wall(to + 2 * secondsPerDay);
    while (budget.payStep()) {
        const icaltimetype time = icalrecur_iterator_next(times.get());
        if (icaltime_is_null_time(time) != 0 || !isDateLike(time) || icaltime_compare(time, last) > 0) {
            return;
        }
        if (icaltime_compare(time, first) >= 0 && icaltime_compare(time, m_start) > 0 && !isLeftOut(time) &&
            !add(time, from, to, budget, found)) {
            return;
        }
    }
}

std::vector<IcalSpan> IcalSeries::spans(qint64 from, qint64 to, IcalBudget& budget) const {
    std::vector<IcalSpan> found;
    // The first one counts whether the rules hit it or not.
    if (!isLeftOut(m_start)) {
        found.push_back(span(m_start));
    }
    for (const icalrecurrencetype& rule : m_rules) {
        if (isPlain(rule)) {
            followPlain(rule, from, to, budget, found);
        } else if (budget.beginLibrary()) {
            follow(rule, from, to, budget, found);
            budget.endLibrary();
        }
    }
    for (const icaltimetype& time : m_more) {
        if (!isLeftOut(time)) {
            found.push_back(span(time));
        }
    }
    std::erase_if(found, [&](const IcalSpan& span) { return !touches(span, from, to); });
    std::ranges::sort(found, {}, &IcalSpan::start);
    const auto twice = std::ranges::unique(found, {}, &IcalSpan::start);
    found.erase(twice.begin(), twice.end());
    return found;
}

}  // namespace lumbro
