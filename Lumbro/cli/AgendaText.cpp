#include "cli/AgendaText.h"

#include "LumbroCore/Dates.h"
#include "cli/Table.h"
#include "meetings/formats/MeetingLink.h"
#include "meetings/formats/PrepTime.h"

#include <QJsonArray>

#include <algorithm>

namespace lumbro::cli {

namespace {

constexpr qint64 countedMinutes = 60;

QString dayText(const QDateTime& start, const QDateTime& now) {
    const qint64 days = now.toLocalTime().date().daysTo(start.toLocalTime().date());
    return days == 0 ? u"today"_s : days == 1 ? u"tomorrow"_s : dates::readableDay(start);
}

/// How far it is off, where that is worth a word.
QString phrase(const PrepEvent& event, const QDateTime& now) {
    if (event.end < now) {
        return u"over"_s;
    }
    return now.secsTo(event.start) <= countedMinutes * 60 ? prepTime::phrase(event.start, now) : QString();
}

QString place(const PrepEvent& event) {
    return event.link ? meetingLink::app(event.link->toString()).value_or(QString()) : QString();
}

}  // namespace

QJsonObject meetingJson(const MeetingOffer& meeting) {
    const PrepEvent& event = meeting.event;
    QJsonArray attendees;
    for (const PrepEvent::Attendee& attendee : event.attendees) {
        attendees += QJsonObject{{u"name"_s, attendee.name}, {u"email"_s, attendee.email}};
    }
    QJsonObject json{{u"id"_s, event.id},
                     {u"key"_s, event.key()},
                     {u"title"_s, event.title},
                     {u"start"_s, dates::iso(event.start)},
                     {u"end"_s, dates::iso(event.end)},
                     {u"attendees"_s, attendees}};
    if (event.link) {
        json[u"link"_s] = event.link->toString(QUrl::FullyEncoded);
        json[u"app"_s] = place(event);
    }
    if (meeting.briefID) {
        json[u"brief"_s] = *meeting.briefID;
    }
    return json;
}

QString meetingTable(const Output& output, const QList<MeetingOffer>& meetings, const QDateTime& now) {
    QList<QStringList> rows;
    for (const MeetingOffer& meeting : meetings) {
        const PrepEvent& event = meeting.event;
        rows.append({dayText(event.start, now), dates::shortTime(event.start), phrase(event, now),
                     durationText(event.start.secsTo(event.end)), Output::clean(event.title),
                     Output::clean(event.attendeeNames().join(u", "_s)), place(event),
                     meeting.briefID ? u"brief"_s : QString()});
    }
    return table(output,
                 {{.header = u"Day"_s, .look = Look::dim},
                  {.header = u"Start"_s, .toRight = true},
                  {.header = {}, .look = Look::accent},
                  {.header = u"Length"_s, .toRight = true},
                  {.header = u"Title"_s, .flexible = true, .look = Look::bold},
                  {.header = u"With"_s, .flexible = true},
                  {.header = u"Where"_s},
                  {.header = {}, .look = Look::good}},
                 rows);
}

QString meetingLine(const PrepEvent& event, const QDateTime& now) {
    QString text = dates::readable(event.start);
    if (const QString off = phrase(event, now); !off.isEmpty()) {
        text += u", "_s + off;
    }
    if (!event.attendees.isEmpty()) {
        text += u", with "_s + event.attendeeNames().join(u", "_s);
    }
    return text;
}

void sayLeftOut(Output& output, const QStringList& sentences) {
    constexpr qsizetype mostSaid = 5;
    for (const QString& sentence : sentences.first(std::min(sentences.size(), mostSaid))) {
        output.fail(Output::clean(sentence));
    }
    if (sentences.size() > mostSaid) {
        output.fail(
            u"%1 more calendar files are left out, or a part of them."_s.arg(sentences.size() - mostSaid));
    }
}

}  // namespace lumbro::cli
