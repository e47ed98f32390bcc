#pragma once

#include "LumbroCore/Failure.h"
#include "platform/CalendarStore.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>

namespace lumbro {

/// A calendar or a list of tasks that a service keeps.
struct ServiceList {
    CalendarList list{};
    /// Name of the account or place that holds it; may be empty.
    QString account{};
    /// The user wants to see what is in it.
    bool isShown = true;
    /// It is no view of something else, such as birthdays.
    bool takesItems = true;

    bool operator==(const ServiceList&) const = default;
};

/// All calendars and lists of tasks that are switched on.
struct ServiceLists {
    QList<ServiceList> calendars{};
    QList<ServiceList> taskLists{};
    /// The ids of those that new items go to; empty where there is none.
    QString defaultCalendar{};
    QString defaultTaskList{};

    bool operator==(const ServiceLists&) const = default;
};

/// What a calendar or a list of tasks holds.
struct ServiceItems {
    /// The user's address in this calendar; may be empty.
    QString ownEmail{};
    /// Each a whole calendar file with one event or task: a series with what stands for single occurrences,
    /// and the zones it names.
    QList<QByteArray> files{};

    bool operator==(const ServiceItems&) const = default;
};

/// A program of the desktop that keeps the user's calendars, behind a module that is loaded at run time: its
/// libraries take long to load, and may be missing. Its calls wait for that program, so it has a thread of
/// its own and does everything there. A failure's message is what the service says; its kind is
/// `notInstalled`, `notLoggedIn` where there is no session of a desktop, `cancelled`, `timedOut`, `notFound`
/// or `failed`. When this goes, what is posted fails at once, and all of it has run before the thread ends.
class CalendarService {
  public:
    /// Changes with anything in this file: program and module must have been built from the same.
    static constexpr int version = 2;

    enum class Kind { event, task };

    CalendarService() = default;
    CalendarService(const CalendarService&) = delete;
    CalendarService& operator=(const CalendarService&) = delete;
    virtual ~CalendarService() = default;

    /// Queues work for the service's thread. Any thread; never blocks. Nothing may be thrown there.
    virtual void post(std::function<void(CalendarService& service)> work) = 0;
    /// What was posted until now fails as cancelled. Any thread.
    virtual void cancel() = 0;

    // The rest is for work that was posted.

    /// Connects, anew where the service has ended meanwhile, and gives what there is. Bounded where that
    /// program hangs.
    virtual Result<ServiceLists> lists() = 0;
    /// The events of a calendar that may touch the time from `from` to `to`, in seconds since 1970: no fewer,
    /// a few more.
    virtual Result<ServiceItems> events(const QString& calendar, qint64 from, qint64 to) = 0;
    /// Everything in a list of tasks.
    virtual Result<ServiceItems> tasks(const QString& list) = 0;
    /// Adds items, each a calendar file with one event or task that has an id, and gives what then stands in
    /// their place, in the same order: all, or none on failure. When it was cancelled, who knows.
    virtual Result<QList<QByteArray>> add(Kind kind, const QString& list, const QList<QByteArray>& files) = 0;
    virtual Result<ServiceList> makeTaskList(const QString& title) = 0;
    virtual Result<> renameTaskList(const QString& list, const QString& title) = 0;
    /// From here on calls `changed`, on this thread, when a list, or something in a calendar that was read,
    /// may have changed.
    virtual void watch(std::function<void()> changed) = 0;
};

/// The one function of a module, by the name "lumbroCalendarService": gives a service that the caller owns,
/// or null when the versions differ.
using MakeCalendarService = CalendarService* (*)(int version);

}  // namespace lumbro
