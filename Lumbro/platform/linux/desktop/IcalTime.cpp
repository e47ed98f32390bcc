#include "platform/linux/desktop/IcalTime.h"

#include <QHash>

#include <algorithm>
#include <mutex>

namespace lumbro {

namespace {

constexpr qint64 secondsPerHour = 3600;
constexpr qint64 secondsPerDay = 86400;
constexpr int mostChangesDescribed = 64;

icaltimetype wallOf(const QDateTime& moment) {
    icaltimetype wall = icaltime_null_time();
    wall.year = moment.date().year();
    wall.month = moment.date().month();
    wall.day = moment.date().day();
    wall.hour = moment.time().hour();
    wall.minute = moment.time().minute();
    wall.second = moment.time().second();
    return wall;
}

/// The library goes through all changes of the clocks up to the year that it is asked for.
bool isBounded(icalcomponent* timezone) {
    int changes = 0;
    for (icalcomponent* change = icalcomponent_get_first_component(timezone, ICAL_ANY_COMPONENT);
         change != nullptr; change = icalcomponent_get_next_component(timezone, ICAL_ANY_COMPONENT)) {
        const icaltimetype start = icalcomponent_get_dtstart(change);
        if (++changes > mostChangesDescribed || !isDateLike(start)) {
            return false;
        }
        for (icalproperty* rule = icalcomponent_get_first_property(change, ICAL_RRULE_PROPERTY);
             rule != nullptr; rule = icalcomponent_get_next_property(change, ICAL_RRULE_PROPERTY)) {
            if (icalproperty_get_rrule(rule).freq != ICAL_YEARLY_RECURRENCE) {
                return false;
            }
        }
    }
    return changes > 0;
}

/// Qt takes any word for a rule of the clocks, and stands it at UTC.
bool isPlace(const QByteArray& name) {
    static const QList<QByteArray> sorted = [] {
        QList<QByteArray> all = QTimeZone::availableTimeZoneIds();
        std::ranges::sort(all);
        return all;
    }();
    return std::ranges::binary_search(sorted, name);
}

/// Programs write "/example.org/20070129_1/Europe/Berlin" for "Europe/Berlin".
QByteArray placeIn(const QByteArray& name) {
    if (!name.startsWith('/')) {
        return name;
    }
    for (qsizetype at = 0; at >= 0; at = name.indexOf('/', at + 1)) {
        if (const QByteArray place = name.mid(at + 1); place.contains('/') && isPlace(place)) {
            return place;
        }
    }
    return name;
}

}  // namespace

QTimeZone systemZone(const QByteArray& name) {
    static std::mutex mutex;
    static QHash<QByteArray, QTimeZone> known;
    constexpr qsizetype mostKnown = 1000;
    const std::scoped_lock lock(mutex);
    if (const auto found = known.constFind(name); found != known.constEnd()) {
        return *found;
    }
    const QByteArray other = QTimeZone::windowsIdToDefaultIanaId(name);
    const QByteArray place = other.isEmpty() ? placeIn(name) : other;
    const QTimeZone zone = isPlace(place) ? QTimeZone(place) : QTimeZone();
    if (known.size() < mostKnown) {
        known.insert(name, zone);
    }
    return zone;
}

bool isDateLike(const icaltimetype& time) {
    return time.year >= 1900 && time.year < 2400 && QDate::isValid(time.year, time.month, time.day);
}

QDate dayOf(const icaltimetype& time) {
    return {time.year, time.month, time.day};
}

qint64 wallSeconds(const icaltimetype& wall) {
    const qint64 days = dayOf(wall).toJulianDay() - QDate(1970, 1, 1).toJulianDay();
    return days * secondsPerDay + qint64(wall.hour) * 3600 + qint64(wall.minute) * 60 + wall.second;
}

icaltimetype wallAt(qint64 seconds) {
    return IcalZone::utc().wall(seconds);
}

IcalZone IcalZone::utc() {
    IcalZone zone;
    zone.m_kind = Kind::utc;
    return zone;
}

IcalZone IcalZone::system(const QTimeZone& zone) {
    IcalZone made;
    made.m_kind = Kind::system;
    made.m_zone = zone;
    return made;
}

IcalZone IcalZone::described(std::shared_ptr<icaltimezone> zone) {
    IcalZone made;
    made.m_kind = Kind::described;
    made.m_described = std::move(zone);
    return made;
}

qint64 IcalZone::moment(const icaltimetype& wall) const {
    const qint64 utc = wallSeconds(wall);
    if (m_kind == Kind::utc) {
        return utc;
    }
    if (m_kind == Kind::described) {
        icaltimetype asked = wall;
        int isDaylight = 0;
        return utc - icaltimezone_get_utc_offset(m_described.get(), &asked, &isDaylight);
    }
    const QTime time(std::min(wall.hour, 23), std::min(wall.minute, 59), std::min(wall.second, 59));
    const QDateTime date =
        m_kind == Kind::local ? QDateTime(dayOf(wall), time) : QDateTime(dayOf(wall), time, m_zone);
    const qint64 found = date.toSecsSinceEpoch();
    // Of a time that clocks show twice, the first is meant. They have never gone back by as much as this.
    const qint64 earlierOffset = offsetAt(found - 3 * secondsPerHour);
    const qint64 first = utc - earlierOffset;
    return first < found && offsetAt(first) == earlierOffset ? first : found;
}

qint64 IcalZone::offsetAt(qint64 moment) const {
    return (m_kind == Kind::local ? QDateTime::fromSecsSinceEpoch(moment)
                                  : QDateTime::fromSecsSinceEpoch(moment, m_zone))
        .offsetFromUtc();
}

icaltimetype IcalZone::wall(qint64 moment) const {
    switch (m_kind) {
        case Kind::local:
            return wallOf(QDateTime::fromSecsSinceEpoch(moment));
        case Kind::system:
            return wallOf(QDateTime::fromSecsSinceEpoch(moment, m_zone));
        case Kind::utc:
            break;
        case Kind::described: {
            icaltimetype utc = wallOf(QDateTime::fromSecsSinceEpoch(moment, Qt::UTC));
            int isDaylight = 0;
            const int offset = icaltimezone_get_utc_offset_of_utc_time(m_described.get(), &utc, &isDaylight);
            return wallOf(QDateTime::fromSecsSinceEpoch(moment + offset, Qt::UTC));
        }
    }
    return wallOf(QDateTime::fromSecsSinceEpoch(moment, Qt::UTC));
}

void IcalZones::addDescribed(icalcomponent* timezone) {
    icalproperty* id = icalcomponent_get_first_property(timezone, ICAL_TZID_PROPERTY);
    if (id != nullptr && icalproperty_get_tzid(id) != nullptr) {
        m_described.insert_or_assign(icalproperty_get_tzid(id), timezone);
    }
}

namespace {

std::optional<IcalZone> zoneOf(icalcomponent* timezone) {
    if (!isBounded(timezone)) {
        return std::nullopt;
    }
    std::shared_ptr<icaltimezone> zone(icaltimezone_new(),
                                       [](icaltimezone* made) { icaltimezone_free(made, 1); });
    // The zone owns what it is given.
    icalcomponent* own = icalcomponent_new_clone(timezone);
    if (icaltimezone_set_component(zone.get(), own) == 0) {
        icalcomponent_free(own);
        return std::nullopt;
    }
    return IcalZone::described(std::move(zone));
}

}  // namespace

IcalZone IcalZones::named(const QByteArray& id) {
    if (const auto known = m_known.find(id); known != m_known.end()) {
        return known->second;
    }
    // What the system knows of a place is newer than what a program once wrote into a file.
    const QTimeZone zone = systemZone(id);
    const auto described = m_described.find(id);
    const IcalZone made = zone.isValid()                   ? IcalZone::system(zone)
                          : described != m_described.end() ? zoneOf(described->second).value_or(IcalZone())
                                                           : IcalZone();
    m_known.emplace(id, made);
    return made;
}

IcalZone IcalZones::of(icalproperty* property, const icaltimetype& time) {
    if (icaltime_is_utc(time) != 0) {
        return IcalZone::utc();
    }
    icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
    const char* id = parameter == nullptr ? nullptr : icalparameter_get_tzid(parameter);
    return id == nullptr ? IcalZone() : named(id);
}

}  // namespace lumbro
