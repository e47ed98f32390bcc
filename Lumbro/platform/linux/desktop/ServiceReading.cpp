#include "platform/linux/desktop/ServiceReading.h"

#include "platform/linux/desktop/IcalRounds.h"
#include "platform/linux/desktop/ReadBack.h"

#include <QHash>
#include <QUuid>

#include <algorithm>
#include <tuple>
#include <utility>

namespace lumbro::serviceReading {

namespace {

void addFiles(const ServiceItems& items, const QString& calendar, const QString& ownEmail,
              std::vector<IcalFile>& files) {
    for (const QByteArray& bytes : items.files) {
        IcalFile& file = files.emplace_back(IcalFile::read(bytes, ownEmail));
        file.setPlace(calendar, {});
        file.markUser(items.ownEmail);
    }
}

auto order(const CalendarEvent& event) {
    return std::tuple(event.start, QStringView(event.title), QStringView(event.id));
}

/// Sorted by start, title and id.
QList<CalendarEvent> eventsOf(const std::vector<IcalFile>& files, qint64 from, qint64 to) {
    std::vector<const IcalFile*> all;
    all.reserve(files.size());
    for (const IcalFile& file : files) {
        all.push_back(&file);
    }
    std::vector<IcalOccurrence> found;
    addOccurrences(all, from, to, found);
    QList<CalendarEvent> events;
    for (const IcalOccurrence& occurrence : found) {
        events.append(occurrence.event());
    }
    std::ranges::sort(events, {}, order);
    return events;
}

std::unexpected<Failure> notReadBack() {
    return fail(u"what was written can't be read back"_s);
}

}  // namespace

Result<Reading> events(CalendarService& service, const QString& ownEmail, qint64 from, qint64 to) {
    Result<ServiceLists> lists = service.lists();
    if (!lists) {
        return std::unexpected(lists.error());
    }
    Reading reading{.lists = std::move(*lists), .events = {}, .unread = {}};
    std::vector<IcalFile> files;
    qsizetype read = 0;
    std::optional<Failure> last;
    for (const ServiceList& calendar : std::as_const(reading.lists.calendars)) {
        if (!calendar.isShown) {
            continue;
        }
        const Result<ServiceItems> items = service.events(calendar.list.id, from, to);
        if (items) {
            ++read;
            addFiles(*items, calendar.list.title, ownEmail, files);
        } else if (items.error().kind == FailureKind::cancelled) {
            return std::unexpected(items.error());
        } else {
            last = items.error();
            reading.unread.append(
                u"the calendar \"%1\" can't be read: %2"_s.arg(calendar.list.title, items.error().message));
        }
    }
    if (last && read == 0) {
        return std::unexpected(*last);
    }
    reading.events = eventsOf(files, from, to);
    return reading;
}

Result<QList<CalendarTask>> tasks(CalendarService& service, const QString& list) {
    if (const Result<ServiceLists> lists = service.lists(); !lists) {
        return std::unexpected(lists.error());
    }
    const Result<ServiceItems> items = service.tasks(list);
    if (!items) {
        return std::unexpected(items.error());
    }
    QList<CalendarTask> tasks;
    for (const QByteArray& bytes : items->files) {
        tasks += IcalFile::read(bytes, {}).tasks();
    }
    return tasks;
}

Result<QString> add(CalendarService& service, const QString& calendar, const NewCalendarEvent& event,
                    const QString& id, const QDateTime& now) {
    const QByteArray file = IcalFile::written(event, id, now);
    if (!readBack::idOf(file, event)) {
        return notReadBack();
    }
    const auto there = service.add(CalendarService::Kind::event, calendar, {file});
    if (!there) {
        return std::unexpected(there.error());
    }
    const auto given = readBack::idOf(there->value(0), event);
    if (!given) {
        return notReadBack();
    }
    return *given;
}

namespace {

/// The tasks of a list by their ids, and whether they are done.
Result<QHash<QString, bool>> knownTasks(CalendarService& service, const QString& list) {
    const Result<QList<CalendarTask>> there = tasks(service, list);
    if (!there) {
        return std::unexpected(there.error());
    }
    QHash<QString, bool> known;
    for (const CalendarTask& task : *there) {
        known.insert(task.id, task.isDone);
    }
    return known;
}

/// Gives the ids under which they then stand there.
Result<QStringList> addNew(CalendarService& service, const QString& list, const QList<CalendarTask>& tasks,
                           const QDateTime& now) {
    QList<QByteArray> files;
    for (const CalendarTask& task : tasks) {
        files.append(IcalFile::written(task, task.id, now));
        if (!readBack::taskOf(files.last(), task)) {
            return notReadBack();
        }
    }
    const auto there = service.add(CalendarService::Kind::task, list, files);
    if (!there) {
        return std::unexpected(there.error());
    }
    QStringList ids;
    for (qsizetype i = 0; i < tasks.size(); ++i) {
        const auto found = readBack::taskOf(there->value(i), tasks[i]);
        if (!found) {
            return notReadBack();
        }
        ids.append(found->id);
    }
    return ids;
}

}  // namespace

Result<QList<AddedTask>> add(CalendarService& service, const QString& list, const QList<CalendarTask>& tasks,
                             const QDateTime& now) {
    const auto known = knownTasks(service, list);
    if (!known) {
        return std::unexpected(known.error());
    }
    QList<AddedTask> added;
    QList<CalendarTask> missing;
    for (CalendarTask task : tasks) {
        const bool isDone = known->value(task.id);
        const bool exists = known->contains(task.id) && !isDone;
        // Who adds a task again that was done wants another one.
        task.id = isDone ? QUuid::createUuid().toString(QUuid::WithoutBraces) : task.id;
        added.append({.id = task.id, .existed = exists});
        if (!exists) {
            missing.append(task);
        }
    }
    if (missing.isEmpty()) {
        return added;
    }
    Result<QStringList> ids = addNew(service, list, missing, now);
    if (!ids) {
        return std::unexpected(ids.error());
    }
    for (AddedTask& task : added) {
        task.id = task.existed ? task.id : ids->takeFirst();
    }
    return added;
}

}  // namespace lumbro::serviceReading
