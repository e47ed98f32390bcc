#pragma once

#include <QByteArray>
#include <QString>

namespace lumbro {

/// The calendar that khal adds events to, as its configuration file says.
struct KhalConfiguration {
    /// Empty where it names none.
    QString defaultCalendar;
    /// The folder of that calendar, as it is written there; empty where khal finds its calendars by itself,
    /// by their titles.
    QString path;

    bool operator==(const KhalConfiguration&) const = default;

    /// The path with its variables and its "~" or "~user" put in, as a shell does; what is unknown stays.
    /// Main thread.
    QString folder() const;

    /// Reads any bytes.
    static KhalConfiguration read(const QByteArray& bytes);
    /// That of the user's own file; empty values where there is none.
    static KhalConfiguration ofUser();
};

}  // namespace lumbro
