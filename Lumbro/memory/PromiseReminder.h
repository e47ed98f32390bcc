#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace lumbro {

class MemoryStore;

/// Shows once a day what the user owes today or is late on. Main thread.
class PromiseReminder {
  public:
    /// All references must outlive it.
    struct Ports {
        Clock& clock;
        Settings& settings;
        MemoryStore& memory;
        /// Puts promises, by their ids, in front of the user.
        std::function<void(QStringList ids)> present;
        /// A line for the user.
        std::function<void(QString text)> say;
    };

    explicit PromiseReminder(Ports ports);

    /// Looks now and every two minutes whether the day's reminder is due.
    void start();
    /// Shows what is due today, late or due soon, now; says so when that is nothing, and when some could not
    /// be read. The day's reminder comes all the same. Gives the ids.
    QStringList remindNow();

  private:
    void tick();

    Ports m_ports;
    /// Spent although it could not be written: better no reminder than one every two minutes.
    QString m_spentDay;
    Timer m_timer;
};

}  // namespace lumbro
