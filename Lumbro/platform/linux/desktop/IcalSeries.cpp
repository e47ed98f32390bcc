#include "platform/linux/desktop/IcalSeries.h"

#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalClockRule.h"
#include "platform/linux/desktop/IcalDayRule.h"

#include <algorithm>
#include <cmath>

namespace lumbro {

namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 longest = 366 * secondsPerDay;
constexpr size_t mostDates = 10'000;
constexpr qsizetype mostRules = 8;

bool isFollowed(const icalrecurrencetype& rule) {
    const bool isFit =
        IcalClockRule::isOne(rule) ? IcalClockRule::canFollow(rule) : IcalDayRule::canFollow(rule);
    const bool hasEnd = icaltime_is_null_time(rule.until) == 0;
    return isFit && rule.interval > 0 && rule.count >= 0 && (!hasEnd || dayOf(rule.until).isValid());
}

IcalLength lengthOf(const icaldurationtype& duration, bool isAllDay) {
    if (duration.is_neg != 0) {
        return {};
    }
    const qint64 days = qint64(duration.weeks) * 7 + duration.days;
    const qint64 seconds = qint64(duration.hours) * 3600 + qint64(duration.minutes) * 60 + duration.seconds;
    return isAllDay ? IcalLength{days + seconds / secondsPerDay, 0} : IcalLength{days, seconds};
}

/// At most a year, and a day that is named at least itself.
IcalLength bounded(const IcalLength& length, bool isAllDay) {
    const qint64 days = std::clamp<qint64>(length.days, isAllDay ? 1 : 0, longest / secondsPerDay);
    return {days, isAllDay ? 0 : std::clamp<qint64>(length.seconds, 0, longest - days * secondsPerDay)};
}

qint64 dayKey(const icaltimetype& time) {
    return dayOf(time).toJulianDay();
}

/// Days as `wallSeconds` counts them.
qint64 placeOfDay(qint64 julianDay) {
    return (julianDay - QDate(1970, 1, 1).toJulianDay()) * secondsPerDay;
}

bool touches(const IcalSpan& span, qint64 from, qint64 to) {
    // What takes no time is there at its moment.
    return span.start < to && (span.end > from || (span.start == span.end && span.start >= from));
}

}  // namespace

qint64 IcalLength::most() const {
    return days * secondsPerDay + seconds;
}

std::optional<IcalSeries> IcalSeries::read(icalcomponent* event, IcalZones& zones) {
    icalproperty* start = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
    if (start == nullptr || !isDateLike(icalproperty_get_dtstart(start))) {
        return std::nullopt;
    }
    IcalSeries series;
    series.m_start = icalproperty_get_dtstart(start);
    series.m_zone = zones.of(start, series.m_start);
    series.m_shownZone = series.m_zone;
    series.m_isAllDay = series.m_start.is_date != 0;
    series.m_isShownAllDay = series.m_isAllDay;
    series.m_start.zone = nullptr;
    series.readLength(event, zones);
    series.readRules(event);
    series.readDates(event, zones);
    return series;
}

void IcalSeries::readLength(icalcomponent* event, IcalZones& zones) {
    if (icalproperty* end = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY)) {
        const icaltimetype time = icalproperty_get_dtend(end);
        if (isDateLike(time) && m_isAllDay) {
            m_length.days = dayOf(m_start).daysTo(dayOf(time));
        } else if (isDateLike(time)) {
            m_length.seconds = zones.of(end, time).moment(time) - m_zone.moment(m_start);
        }
    } else if (icalproperty* length = icalcomponent_get_first_property(event, ICAL_DURATION_PROPERTY)) {
        m_length = lengthOf(icalproperty_get_duration(length), m_isAllDay);
    }
    m_length = bounded(m_length, m_isAllDay);
}

void IcalSeries::readRules(icalcomponent* event) {
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
         property != nullptr; property = icalcomponent_get_next_property(event, ICAL_RRULE_PROPERTY)) {
        icalrecurrencetype rule = icalproperty_get_rrule(property);
        const bool isOurCalendar = rule.rscale == nullptr || QByteArray(rule.rscale) == "GREGORIAN";
        rule.rscale = nullptr;  // The property's own, gone with it.
        if (!isFollowed(rule) || !isOurCalendar || m_rules.size() >= mostRules) {
            m_isCut = true;
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
    // The library takes away a rule that it can't read, and leaves a word about it.
    for (icalproperty* error = icalcomponent_get_first_property(event, ICAL_XLICERROR_PROPERTY);
         error != nullptr; error = icalcomponent_get_next_property(event, ICAL_XLICERROR_PROPERTY)) {
        const char* text = icalproperty_get_xlicerror(error);
        m_isCut = m_isCut || (text != nullptr && QByteArrayView(text).contains("RRULE"));
    }
}

void IcalSeries::readDates(icalcomponent* event, IcalZones& zones) {
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
         property != nullptr && size_t(m_leftOut.size() + m_leftOutDays.size()) < mostDates;
         property = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
        if (const icaltimetype time = icalproperty_get_exdate(property); isDateLike(time)) {
            leaveOut({zones.of(property, time).moment(time), dayKey(time), time.is_date != 0, false});
        }
    }
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY);
         property != nullptr && size_t(m_more.size()) < mostDates;
         property = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
        const icaldatetimeperiodtype value = icalvalue_get_datetimeperiod(icalproperty_get_value(property));
        const bool isPeriod = icaltime_is_null_time(value.time) != 0;
        const icaltimetype time = isPeriod ? value.period.start : value.time;
        if (!isDateLike(time)) {
            continue;
        }
        const IcalZone zone = zones.of(property, time);
        More more{time, std::nullopt};
        if (time.is_date != 0 && !m_isAllDay) {
            more.wall = m_start;
            dayOf(time).getDate(&more.wall.year, &more.wall.month, &more.wall.day);
        } else if (!m_isAllDay) {
            more.wall = m_zone.wall(zone.moment(time));
        }
        if (isPeriod && !m_isAllDay) {
            const bool hasEnd = isDateLike(value.period.end);
            more.length =
                bounded(hasEnd ? IcalLength{0, zones.of(property, value.period.end).moment(value.period.end) -
                                                   zone.moment(time)}
                               : lengthOf(value.period.duration, false),
                        false);
        }
        m_more.push_back(more);
    }
}

std::optional<IcalInstance> IcalSeries::instance(icalcomponent* event, IcalZones& zones) {
    icalproperty* property = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY);
    if (property == nullptr) {
        return std::nullopt;
    }
    const icaltimetype time = icalproperty_get_recurrenceid(property);
    if (!isDateLike(time)) {
        return std::nullopt;
    }
    icalparameter* range = icalproperty_get_first_parameter(property, ICAL_RANGE_PARAMETER);
    return IcalInstance{
        .moment = zones.of(property, time).moment(time),
        .day = dayKey(time),
        .isDay = time.is_date != 0,
        .isFuture = range != nullptr && icalparameter_get_range(range) == ICAL_RANGE_THISANDFUTURE};
}

void IcalSeries::repeatNoMore() {
    m_rules.clear();
    m_more.clear();
    m_leftOut.clear();
    m_leftOutDays.clear();
    m_isCut = false;
}

void IcalSeries::leaveOut(const IcalInstance& instance) {
    if (instance.isDay || m_isAllDay) {
        m_leftOutDays.insert(instance.day);
    } else {
        m_leftOut.insert(instance.moment);
    }
}

qint64 IcalSeries::placeOf(const IcalInstance& instance) const {
    return instance.isDay || m_isAllDay ? placeOfDay(instance.day)
                                        : wallSeconds(m_zone.wall(instance.moment));
}

std::optional<IcalSeries> IcalSeries::changedAfter(qint64 place, const IcalSeries& change) const {
    const bool areTimes = !m_isAllDay && !change.m_isAllDay;
    const qint64 shift =
        wallSeconds(areTimes ? m_zone.wall(change.m_zone.moment(change.m_start)) : change.m_start) - place;
    if (std::abs(shift) > longest) {
        return std::nullopt;
    }
    IcalSeries rest = *this;
    rest.m_after = place;
    rest.m_shift = shift;
    rest.m_length = change.m_length;
    rest.m_shownZone = areTimes ? m_zone : change.m_zone;
    rest.m_isShownAllDay = change.m_isAllDay;
    return rest;
}

bool IcalSeries::isLeftOut(const icaltimetype& wall) const {
    const qint64 place = wallSeconds(wall);
    if (place <= m_after || place >= m_before || m_leftOutDays.contains(dayKey(wall))) {
        return true;
    }
    return !m_leftOut.isEmpty() && m_leftOut.contains(m_zone.moment(wall));
}

IcalSpan IcalSeries::span(const icaltimetype& wall, const IcalLength& length) const {
    const icaltimetype shown = m_shift == 0 ? wall : wallAt(wallSeconds(wall) + m_shift);
    const QDate day = dayOf(shown);
    if (m_isShownAllDay) {
        return {day.startOfDay().toSecsSinceEpoch(),
                day.addDays(length.days).startOfDay().toSecsSinceEpoch()};
    }
    const qint64 start = m_shownZone.moment(shown);
    if (length.days == 0) {
        return {start, start + length.seconds};
    }
    icaltimetype last = shown;
    day.addDays(length.days).getDate(&last.year, &last.month, &last.day);
    return {start, std::max(start, m_shownZone.moment(last) + length.seconds)};
}

IcalSeries::Search IcalSeries::search(qint64 from, qint64 to, const IcalLength& length) const {
    // Zones are at most a day apart, and a day may be longer than another one.
    return {.from = from,
            .to = to,
            .first = std::max(from - length.most() - 2 * secondsPerDay - m_shift, m_after),
            .last = std::min(to + 2 * secondsPerDay - m_shift, m_before)};
}

/// False when nothing more may be added.
bool IcalSeries::add(const icaltimetype& wall, const Search& search, IcalBudget& budget,
                     std::vector<IcalSpan>& found) const {
    if (isLeftOut(wall)) {
        return true;
    }
    const IcalSpan time = span(wall, m_length);
    if (!touches(time, search.from, search.to)) {
        return true;
    }
    if (!budget.payOccurrence()) {
        return false;
    }
    found.push_back(time);
    return true;
}

std::vector<IcalSpan> IcalSeries::spans(qint64 from, qint64 to, IcalBudget& budget) const {
    std::vector<IcalSpan> found;
    // The first one counts whether the rules hit it or not.
    if (!isLeftOut(m_start)) {
        found.push_back(span(m_start, m_length));
    }
    const Search usual = search(from, to, m_length);
    for (const icalrecurrencetype& rule : m_rules) {
        if (usual.first > usual.last) {
            break;
        }
        const auto take = [&](const icaltimetype& wall) { return add(wall, usual, budget, found); };
        if (IcalClockRule::isOne(rule)) {
            IcalClockRule(rule, wallSeconds(m_start))
                .follow(usual.first, usual.last, budget, [&](qint64 time) { return take(wallAt(time)); });
        } else {
            IcalDayRule(rule, m_start).follow(usual.first, usual.last, budget, take);
        }
    }
    for (const More& more : m_more) {
        const IcalLength& length = more.length ? *more.length : m_length;
        const Search near = search(from, to, length);
        const qint64 place = wallSeconds(more.wall);
        if (!budget.payStep()) {
            break;
        }
        if (place >= near.first && place <= near.last && !isLeftOut(more.wall)) {
            found.push_back(span(more.wall, length));
        }
    }
    std::erase_if(found, [&](const IcalSpan& span) { return !touches(span, from, to); });
    std::ranges::sort(found, {}, &IcalSpan::start);
    const auto twice = std::ranges::unique(found, {}, &IcalSpan::start);
    found.erase(twice.begin(), twice.end());
    return found;
}

}  // namespace lumbro
