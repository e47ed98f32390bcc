#include "platform/linux/desktop/ServiceReading.h"

#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalFile.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace lumbro::serviceReading {

namespace {

struct Span {
    qint64 from = 0;
    qint64 to = 0;
};

void markUser(CalendarEvent& event, const QString& address) {
    for (CalendarAttendee& attendee : event.attendees) {
        attendee.isCurrentUser =
            attendee.isCurrentUser ||
            (!address.isEmpty() && attendee.email.compare(address, Qt::CaseInsensitive) == 0);
    }
}

void addEvents(const ServiceItems& items, const QString& calendar, const QString& ownEmail, Span span,
               IcalBudget& budget, QList<CalendarEvent>& events) {
    for (const QByteArray& bytes : items.files) {
        IcalFile file = IcalFile::read(bytes, ownEmail);
        file.setPlace(calendar, {});
        std::vector<IcalOccurrence> found;
        IcalBudget share = budget.share();
        file.addOccurrences(span.from, span.to, share, found);
        budget.settle(share);
        for (const IcalOccurrence& occurrence : found) {
            events.append(occurrence.event());
            markUser(events.last(), items.ownEmail);
        }
    }
}

auto order(const CalendarEvent& event) {
    return std::tuple(event.start, QStringView(event.title), QStringView(event.id));
}

std::unexpected<Failure> notReadBack() {
    return fail(u"what was written can't be read back"_s);
}

bool isSame(const CalendarEvent& there, const NewCalendarEvent& event) {
    return there.title == event.title.trimmed() &&
           there.start.toSecsSinceEpoch() == event.start.toSecsSinceEpoch() &&
           there.end.toSecsSinceEpoch() == event.end.toSecsSinceEpoch();
}

}  // namespace

Result<Reading> events(CalendarService& service, const QString& ownEmail, qint64 from, qint64 to) {
    Result<ServiceLists> lists = service.lists();
    if (!lists) {
        return std::unexpected(lists.error());
    }
    Reading reading{.lists = std::move(*lists), .events = {}, .unread = {}};
    IcalBudget budget = IcalBudget::forReading();
    qsizetype read = 0;
    std::optional<Failure> last;
    for (const ServiceList& calendar : std::as_const(reading.lists.calendars)) {
        if (!calendar.isShown) {
            continue;
        }
        const Result<ServiceItems> items = service.events(calendar.list.id, from, to);
        if (items) {
            ++read;
            addEvents(*items, calendar.list.title, ownEmail, {from, to}, budget, reading.events);
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
    std::ranges::sort(reading.events, {}, order);
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
    const auto there =
        service.add(CalendarService::Kind::event, calendar, {IcalFile::written(event, id, now)});
    if (!there) {
        return std::unexpected(there.error());
    }
    std::vector<IcalOccurrence> found;
    IcalBudget budget = IcalBudget::forReading();
    for (const QByteArray& bytes : *there) {
        IcalFile::read(bytes, {}).addOccurrences(event.start.toSecsSinceEpoch(), event.end.toSecsSinceEpoch(),
                                                 budget, found);
    }
    if (found.size() != 1 || !isSame(found.front().event(), event)) {
        return notReadBack();
    }
    return found.front().about->id;
}

Result<QStringList> add(CalendarService& service, const QString& list, const QList<CalendarTask>& tasks,
                        const QDateTime& now) {
    QList<QByteArray> files;
    for (const CalendarTask& task : tasks) {
        files.append(IcalFile::written(task, task.id, now));
    }
    const auto there = service.add(CalendarService::Kind::task, list, files);
    if (!there) {
        return std::unexpected(there.error());
    }
    QStringList ids;
    for (qsizetype i = 0; i < tasks.size(); ++i) {
        const QList<CalendarTask> found =
            i < there->size() ? IcalFile::read(there->at(i), {}).tasks() : QList<CalendarTask>();
        if (found.size() != 1 || found.first().title != tasks[i].title.trimmed() ||
            found.first().due != tasks[i].due) {
            return notReadBack();
        }
        ids.append(found.first().id);
    }
    return ids;
}

}  // namespace lumbro::serviceReading
