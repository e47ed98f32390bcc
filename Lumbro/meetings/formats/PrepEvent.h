#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace lumbro {

/// A calendar event as the application sees it.
struct PrepEvent {
    struct Attendee {
        QString name;
        /// Without "mailto:"; may be empty.
        QString email;

        bool operator==(const Attendee&) const = default;
    };

    QString id;
    QString title;
    QDateTime start;
    QDateTime end;
    /// The others: not the user, not rooms or resources.
    QList<Attendee> attendees;
    QString notes;
    /// Where the meeting is joined.
    std::optional<QUrl> link;

    bool operator==(const PrepEvent&) const = default;

    /// "<id>@<start in whole seconds since 1970>": a meeting that has been moved is a new one.
    QString key() const;
    QStringList attendeeNames() const;
    /// The addresses that look like one.
    QStringList attendeeEmails() const;
};

/// A meeting that is about to start, with the brief that was written for it, if any.
struct MeetingOffer {
    PrepEvent event;
    /// Id of the brief's capture.
    std::optional<QString> briefID;

    bool operator==(const MeetingOffer&) const = default;
};

}  // namespace lumbro
