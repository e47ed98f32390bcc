#pragma once

#include "library/formats/CaptureMeta.h"
#include "meetings/formats/PrepEvent.h"
#include "platform/CalendarStore.h"

#include <QDateTime>
#include <QList>

#include <optional>

/// The user's events as meetings. Pure.
namespace lumbro::agenda {

/// The stretch of time that is read: a meeting that began up to 4 hours ago still counts, and so does all of
/// tomorrow.
struct Span {
    QDateTime from;
    /// Exclusive.
    QDateTime to;

    bool operator==(const Span&) const = default;
};
Span span(const QDateTime& now);

/// Nothing for an event that the user declined.
std::optional<PrepEvent> prepEvent(const CalendarEvent& event);

/// The meetings among these, by their start: no all-day events, none that are called off or declined.
QList<PrepEvent> of(const QList<CalendarEvent>& events);

/// Those with other people that start within the next 12 hours, or have begun.
QList<PrepEvent> upcoming(const QList<PrepEvent>& agenda, const QDateTime& now);

/// It is on, or begins within 10 minutes.
bool isOn(const PrepEvent& event, const QDateTime& now);

/// The earliest one that is on, or begins within 10 minutes.
std::optional<PrepEvent> eventNow(const QList<PrepEvent>& agenda, const QDateTime& now);

/// The agenda's event that the user means by `text`: its key or id, else the beginning of its title, else a
/// part of it, in any case; of several the next one, past ones last. Without a text the meeting that is on or
/// comes next, one with people before one without, and none that lasts for more than a day.
std::optional<PrepEvent> find(const QList<PrepEvent>& agenda, const QString& text, const QDateTime& now);

/// The first of the captures that holds the brief for this event: it has its title and its start.
std::optional<CaptureRecord> brief(const QList<CaptureRecord>& captures, const PrepEvent& event);

}  // namespace lumbro::agenda
