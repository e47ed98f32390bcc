#include "actions/CalendarExport.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Dates.h"
#include "actions/formats/VisibleText.h"

#include <QLocale>

#include <algorithm>
#include <utility>

namespace lumbro::calendarExport {

namespace {

const QTime dayBegins(9, 0);
const QTime dayEnds(17, 0);
constexpr qint64 leastNotice = 3'600'000;
constexpr qint64 halfHour = 1'800'000;
constexpr qint64 sameStart = 60;

struct Window {
    QDateTime start;
    QDateTime end;
};

struct Busy {
    QDateTime start;
    QDateTime end;
    QString title;
};

QDateTime earliestStart(const QDateTime& now) {
    // In milliseconds: a part of a second too many is the next half hour.
    const qint64 soon = now.toMSecsSinceEpoch() + leastNotice;
    return QDateTime::fromMSecsSinceEpoch((soon + halfHour - 1) / halfHour * halfHour);
}

/// The working hours of the coming days of the week, without what has gone. Days that have gone count.
QList<Window> windows(int workDays, const QDateTime& from) {
    QList<Window> windows;
    const QDateTime earliest = earliestStart(from);
    QDate day = from.toLocalTime().date();
    for (int done = 0; done < workDays; day = day.addDays(1)) {
        if (day.dayOfWeek() >= Qt::Saturday) {
            continue;
        }
        ++done;
        const QDateTime start = std::max(QDateTime(day, dayBegins), earliest);
        if (const QDateTime end(day, dayEnds); start < end) {
            windows.append({start, end});
        }
    }
    return windows;
}

/// The events that keep the user from others, by their start.
Task<QList<Busy>> busyTimes(CalendarStore* store, QDateTime from, QDateTime to) {
    QList<Busy> busy;
    const QList<CalendarEvent> events = co_await store->events(from, to);
    for (const CalendarEvent& event : events) {
        if (!event.isAllDay && !event.isCanceled && !event.isFree && !event.isDeclinedByUser()) {
            busy.append({event.start, event.end, event.title.isEmpty() ? u"Busy"_s : event.title});
        }
    }
    std::ranges::stable_sort(busy, {}, &Busy::start);
    co_return busy;
}

void addGaps(const Window& window, const QList<Busy>& busy, qint64 seconds, QList<FreeTime>& free) {
    QDateTime cursor = window.start;
    const auto gapUntil = [&](const QDateTime& end) {
        if (cursor.secsTo(end) >= seconds) {
            free.append({cursor, end});
        }
    };
    for (const Busy& block : busy) {
        if (block.start >= window.end || block.end <= window.start) {
            continue;
        }
        gapUntil(block.start);
        cursor = std::max(cursor, block.end);
    }
    gapUntil(window.end);
}

QString times(const FreeTime& free) {
    return free.start.toLocalTime().toString(u"HH:mm"_s) + u"–"_s +
           free.end.toLocalTime().toString(u"HH:mm"_s);
}

/// One line a day.
QString listed(const QList<FreeTime>& all) {
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    QString text;
    QString last;
    for (const FreeTime& free : all) {
        const QString day = english.toString(free.start.toLocalTime().date(), u"yyyy-MM-dd ddd"_s);
        text += day == last ? u", "_s : u"\n- "_s + day + u": "_s;
        text += times(free);
        last = day;
    }
    return text;
}

}  // namespace

Task<QList<FreeTime>> freeTimes(CalendarStore* store, int workDays, int minutes, QDateTime from) {
    QList<FreeTime> free;
    const QList<Window> days = windows(workDays, from);
    if (days.isEmpty() || co_await store->open() != CalendarAccess::full) {
        co_return free;
    }
    const QList<Busy> busy = co_await busyTimes(store, days.first().start, days.last().end);
    if (store->access() != CalendarAccess::full) {
        co_return free;
    }
    for (const Window& day : days) {
        addGaps(day, busy, qint64(minutes) * 60, free);
    }
    co_return free;
}

QString contextOf(const QList<FreeTime>& free, const QDateTime& now) {
    const QString today = u"TODAY: "_s + dates::longReadable(now);
    return free.isEmpty()
               ? today
               : today + u"\n\n## MY FREE TIMES (weekdays 9:00–17:00, my time zone)"_s + listed(free);
}

Task<QString> context(CalendarStore* store, QDateTime now) {
    const QList<FreeTime> free = co_await freeTimes(store, 5, 30, now);
    co_return contextOf(free, now);
}

Task<QStringList> conflicts(CalendarStore* store, EventDraft draft) {
    QStringList titles;
    if (co_await store->open() != CalendarAccess::full) {
        co_return titles;
    }
    const QDateTime end = draft.end();
    const QList<Busy> busy = co_await busyTimes(store, draft.start, end);
    for (const Busy& block : busy) {
        if (block.start < end && block.end > draft.start) {
            titles.append(block.title);
        }
    }
    co_return titles;
}

/// The event of the same title at the same time, where it is in the calendar already.
static Task<std::optional<CalendarEvent>> sameEvent(CalendarStore* store, EventDraft draft) {
    const QList<CalendarEvent> around =
        co_await store->events(draft.start.addSecs(-sameStart), draft.start.addSecs(sameStart));
    const QString title = visibleText(draft.title);
    const auto same = std::ranges::find_if(around, [&](const CalendarEvent& event) {
        return visibleText(event.title) == title && std::abs(event.start.secsTo(draft.start)) < sameStart;
    });
    co_return same == around.end() ? std::nullopt : std::optional(*same);
}

static QString notesOf(const EventDraft& draft, const QString& note) {
    QStringList lines;
    if (!draft.with.isEmpty()) {
        lines.append(u"With: "_s + draft.with.join(u", "_s));
    }
    if (!note.isEmpty()) {
        lines.append(note);
    }
    return lines.join(u'\n');
}

static std::unexpected<Failure> denied(const CalendarStore& store) {
    const QString why = store.whyNoAccess();
    return fail(
        u"Lumbro can't use Calendar. "_s +
        (why.isEmpty() ? u"Choose a folder for it that can be written in Settings: calendarFolder."_s : why));
}

Task<Result<Added>> add(CalendarStore* store, EventDraft draft, QString note) {
    if (const auto fault = draft.fault()) {
        co_return fail(*fault);
    }
    CalendarAccess access = co_await store->open();
    if (access != CalendarAccess::full) {
        access = co_await store->requestAccess();
    }
    if (access != CalendarAccess::full) {
        co_return denied(*store);
    }
    const auto adding = co_await store->beginAdding();
    if (!adding) {
        co_return std::unexpected(adding.error());
    }
    if (const auto same = co_await sameEvent(store, draft)) {
        co_return Added{.existed = true,
                        .item = {.id = same->id, .calendar = same->calendar, .path = same->path}};
    }
    // Nobody knows now whether it is there.
    if (store->access() != CalendarAccess::full) {
        co_return denied(*store);
    }
    if (!store->defaultCalendar()) {
        const QString why = store->whyNoCalendar();
        co_return fail(why.isEmpty() ? u"No calendar found. Add one in the Calendar app."_s : why);
    }
    const NewCalendarEvent event{
        .title = draft.title, .start = draft.start, .end = draft.end(), .notes = notesOf(draft, note)};
    const Result<AddedCalendarItem> added = co_await store->add(event);
    if (!added) {
        co_return std::unexpected(added.error());
    }
    AppLog::info(u"action"_s, u"calendar: added '%1' at %2 to '%3' (%4) id=%5"_s.arg(
                                  draft.title, dates::iso(draft.start), added->calendar,
                                  added->account.isEmpty() ? u"no account"_s : added->account, added->id));
    co_return Added{.existed = false, .item = *added};
}

}  // namespace lumbro::calendarExport
