#include "meetings/formats/PrepEvent.h"

namespace lumbro {

QString PrepEvent::key() const {
    return id + u'@' + QString::number(start.toSecsSinceEpoch());
}

QStringList PrepEvent::attendeeNames() const {
    QStringList names;
    for (const Attendee& attendee : attendees) {
        names.append(attendee.name);
    }
    return names;
}

QStringList PrepEvent::attendeeEmails() const {
    QStringList emails;
    for (const Attendee& attendee : attendees) {
        if (attendee.email.contains(u'@')) {
            emails.append(attendee.email);
        }
    }
    return emails;
}

}  // namespace lumbro
