#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QTimeZone>

#include <map>
#include <memory>
#include <optional>

#include <libical/ical.h>

namespace lumbro {

/// The zone that a calendar file's times stand in: the machine's, UTC, one that the system knows, or one that
/// the file itself describes.
class IcalZone {
  public:
    /// The machine's own zone, for times without one.
    IcalZone() = default;
    static IcalZone utc();
    static IcalZone system(const QTimeZone& zone);
    /// A zone out of a file's own description.
    static IcalZone described(std::shared_ptr<icaltimezone> zone);

    /// The moment at which clocks of this zone show this, first where they do twice. In seconds since 1970.
    qint64 moment(const icaltimetype& wall) const;
    /// What clocks of this zone show at a moment. Near a change of the clocks within a day.
    icaltimetype wall(qint64 moment) const;

  private:
    enum class Kind { local, utc, system, described };

    /// Of the machine's own zone, or one that the system knows.
    qint64 offsetAt(qint64 moment) const;

    Kind m_kind = Kind::local;
    QTimeZone m_zone;
    std::shared_ptr<icaltimezone> m_described;
};

/// The zones that one file's times can name.
class IcalZones {
  public:
    /// Takes note of a file's description of a zone, which must outlive this. One that would be work without
    /// end is never used.
    void addDescribed(icalcomponent* timezone);
    /// The zone of a property's value: by its own mark or by its parameter. Unknown names are the machine's.
    IcalZone of(icalproperty* property, const icaltimetype& time);

  private:
    IcalZone named(const QByteArray& id);

    std::map<QByteArray, IcalZone> m_known;
    std::map<QByteArray, icalcomponent*> m_described;
};

/// The zone that the system knows by this name, or by the name that Windows has for it; invalid when it knows
/// none. Any thread.
QTimeZone systemZone(const QByteArray& name);

/// Whether a time exists as such: a year, month and day that a calendar has.
bool isDateLike(const icaltimetype& time);
QDate dayOf(const icaltimetype& time);
/// What clocks show, as seconds since 1970 where they show UTC, and back.
qint64 wallSeconds(const icaltimetype& wall);
icaltimetype wallAt(qint64 seconds);

}  // namespace lumbro
