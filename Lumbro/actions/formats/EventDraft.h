#pragma once

#include "actions/formats/EmailDraft.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// A calendar event out of an answer, as it is shown before it is booked.
struct EventDraft {
    QString title;
    /// In local time.
    QDateTime start;
    int minutes = 30;
    /// The guests as written, usually "Name <address>". The user is none of them.
    QStringList with;

    bool operator==(const EventDraft&) const = default;

    /// Any text; of several events the first that names a title and a time that exists. Nothing when none
    /// does.
    static std::optional<EventDraft> parse(const QString& text);

    /// The title, "@" and the start.
    QString id() const;
    QDateTime end() const { return start.addSecs(qint64(minutes) * 60); }
    /// Why it can't be booked, as a sentence for the user: a length or a year that can't be meant, or a
    /// title that nobody sees. Nothing where it can.
    std::optional<QString> fault() const;
    /// What may be a slip, as sentences for who is asked.
    QStringList oddities(const QDateTime& now) const;
    /// For people: day, time and length.
    QString whenText() const;
    /// First names of the guests; those who are only an address are left out.
    QStringList names() const;
    /// The addresses of the guests who have one.
    QStringList emails() const;
    /// A mail that asks the guests whether the time suits them.
    EmailDraft invite() const;
};

}  // namespace lumbro
