#include "meetings/Agenda.h"

#include "LumbroCore/Literals.h"
#include "meetings/formats/MeetingLink.h"

#include <algorithm>
#include <cmath>

namespace lumbro::agenda {

namespace {

constexpr qint64 lookBack = 14'400;
constexpr qint64 twoDays = 172'800;
constexpr qint64 ahead = 43'200;
constexpr qint64 beforeStart = 600;
constexpr qint64 oneDay = 86'400;
/// A brief's date and the start that it is for differ by less, in milliseconds.
constexpr qint64 sameStart = 60'000;

std::optional<PrepEvent::Attendee> other(const CalendarAttendee& attendee) {
    if (attendee.isCurrentUser || attendee.kind != CalendarAttendee::Kind::person ||
        attendee.answer == CalendarAttendee::Answer::declined) {
        return std::nullopt;
    }
    const QString email = attendee.email.trimmed();
    const QString name = attendee.name.simplified();
    if (name.isEmpty() && email.isEmpty()) {
        return std::nullopt;
    }
    return PrepEvent::Attendee{name.isEmpty() ? email : name, email};
}

template <typename Fits>
std::optional<PrepEvent> firstOf(const QList<PrepEvent>& events, const Fits& fits) {
    const auto found = std::ranges::find_if(events, fits);
    return found == events.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

Span span(const QDateTime& now) {
    const QDate today = now.toLocalTime().date();
    QDateTime to = today.addDays(2).startOfDay();
    if (!to.isValid()) {
        to = today.startOfDay().addSecs(twoDays);
    }
    return {now.addSecs(-lookBack), to};
}

std::optional<PrepEvent> prepEvent(const CalendarEvent& event) {
    if (event.isDeclinedByUser()) {
        return std::nullopt;
    }
    const QString title = event.title.simplified();
    PrepEvent meeting{.id = event.id,
                      .title = title.isEmpty() ? u"Meeting"_s : title,
                      .start = event.start,
                      .end = event.end,
                      .attendees = {},
                      .notes = event.notes.trimmed(),
                      .link = meetingLink::find(event.url, event.location, event.notes)};
    for (const CalendarAttendee& attendee : event.attendees) {
        if (const auto person = other(attendee); person && !meeting.attendees.contains(*person)) {
            meeting.attendees.append(*person);
        }
    }
    return meeting;
}

QList<PrepEvent> of(const QList<CalendarEvent>& events) {
    QList<PrepEvent> meetings;
    for (const CalendarEvent& event : events) {
        if (event.isAllDay || event.isCanceled || !event.start.isValid()) {
            continue;
        }
        if (auto meeting = prepEvent(event)) {
            meetings.append(*std::move(meeting));
        }
    }
    std::ranges::stable_sort(meetings, {}, &PrepEvent::start);
    return meetings;
}

QList<PrepEvent> upcoming(const QList<PrepEvent>& agenda, const QDateTime& now) {
    QList<PrepEvent> events = agenda;
    const QDateTime limit = now.addSecs(ahead);
    events.removeIf(
        [&limit](const PrepEvent& event) { return event.attendees.isEmpty() || event.start >= limit; });
    return events;
}

bool isOn(const PrepEvent& event, const QDateTime& now) {
    return now >= event.start.addSecs(-beforeStart) && now <= event.end;
}

std::optional<PrepEvent> eventNow(const QList<PrepEvent>& agenda, const QDateTime& now) {
    return firstOf(agenda, [&now](const PrepEvent& event) { return isOn(event, now); });
}

std::optional<PrepEvent> find(const QList<PrepEvent>& agenda, const QString& text, const QDateTime& now) {
    if (const auto exact = firstOf(agenda, [&](const PrepEvent& event) { return event.key() == text; })) {
        return exact;
    }
    QList<PrepEvent> order = agenda;
    std::ranges::stable_partition(order, [&now](const PrepEvent& event) { return event.end >= now; });
    const QString name = text.simplified();
    if (name.isEmpty()) {
        // Days on end are a journey or a fair, and nobody asks for their brief without naming them.
        order.removeIf([&now](const PrepEvent& event) {
            return event.end < now || event.start.secsTo(event.end) > oneDay;
        });
        const auto met = firstOf(order, [](const PrepEvent& event) { return !event.attendees.isEmpty(); });
        return met || order.isEmpty() ? met : std::optional(order.first());
    }
    using Fits = bool (*)(const PrepEvent&, const QString&);
    for (const Fits fits :
         {Fits([](const PrepEvent& event, const QString& name) { return event.id == name; }),
          Fits([](const PrepEvent& event, const QString& name) {
              return event.title.startsWith(name, Qt::CaseInsensitive);
          }),
          Fits([](const PrepEvent& event, const QString& name) {
              return event.title.contains(name, Qt::CaseInsensitive);
          })}) {
        if (const auto found = firstOf(order, [&](const PrepEvent& event) { return fits(event, name); })) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<CaptureRecord> brief(const QList<CaptureRecord>& captures, const PrepEvent& event) {
    const auto found = std::ranges::find_if(captures, [&event](const CaptureRecord& record) {
        return record.meta.kind == CaptureKind::prep && record.meta.title == event.title &&
               std::abs(record.meta.startedAt.msecsTo(event.start)) < sameStart;
    });
    return found == captures.end() ? std::nullopt : std::optional(*found);
}

}  // namespace lumbro::agenda
