#include "LumbroCore/Literals.h"
#include "meetings/Agenda.h"
#include "meetings/formats/MeetingLink.h"
#include "meetings/formats/PrepTime.h"

#include <QTimeZone>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

QDateTime at(int hour, int minute, int second = 0, int day = 2) {
    return QDateTime(QDate(2026, 3, day), QTime(hour, minute, second));
}

CalendarEvent event(const QString& title, const QDateTime& start, int minutes = 30) {
    return {.id = title.toLower(), .title = title, .start = start, .end = start.addSecs(60 * minutes)};
}

QStringList titles(const QList<PrepEvent>& events) {
    QStringList names;
    for (const PrepEvent& one : events) {
        names += one.title;
    }
    return names;
}

}  // namespace

TEST(MeetingLink, namesTheService) {
    const std::pair<QString, QString> rows[] = {
        {u"https://us02web.ZOOM.us/j/123?pwd=x"_s, u"Zoom"_s},
        {u"https://meet.google.com/abc-defg-hij"_s, u"Google Meet"_s},
        {u"https://teams.microsoft.com/l/meetup-join/19%3a"_s, u"Teams"_s},
        {u"https://teams.live.com/meet/93"_s, u"Teams"_s},
        {u"https://acme.webex.com/meet/ann"_s, u"Webex"_s},
        {u"https://facetime.apple.com/join#v=1"_s, u"FaceTime"_s},
        {u"https://whereby.com/acme"_s, u"Whereby"_s},
        {u"https://meet.around.co/r/x"_s, u"Around"_s},
        {u"https://app.slack.com/huddle/T1/C1"_s, u"Slack"_s},
        {u"https://app.slack.com/client/T1"_s, {}},
        {u"https://app.slack.com/huddles"_s, {}},
        {u"https://evil.example/zoom.us/j/1"_s, {}},
        {u"https://zoom.us.evil.example/j/1"_s, {}},
        {u"https://notzoom.us/j/1"_s, {}},
        {u"https://zoom.us@evil.example/j/1"_s, {}},
        {u"https://evil.example@zoom.us/j/1"_s, {}},
        {uR"(https://evil.example\.zoom.us/j/1)"_s, {}},
        {uR"(https://zoom.us\.evil.example/j/1)"_s, {}},
        {u"https://evil.example%2f.zoom.us/j/1"_s, {}},
        {u"https://evil.example?.zoom.us/j/1"_s, {}},
        {u"https://evil.example#.zoom.us"_s, {}},
        {u"zoommtg://zoom.us/join?confno=1"_s, {}},
        {u"https://example.org/meet"_s, {}},
        {u""_s, {}},
    };
    for (const auto& [url, name] : rows) {
        EXPECT_EQ(meetingLink::app(url).value_or(QString()), name) << qPrintable(url);
    }
}

TEST(MeetingLink, isTheFirstThatIsKnownAndNeverAnythingButTheWeb) {
    struct Row {
        QString url, location, notes, expected;
    };
    const QString zoom = u"https://zoom.us/j/1"_s;
    const QString meet = u"https://meet.google.com/a"_s;
    const Row rows[] = {
        {zoom, meet, {}, zoom},
        {u"https://example.org/e/1"_s, u"Room 4, "_s + meet, zoom, meet},
        {{}, u"http://example.org "_s + zoom + u"."_s, {}, zoom},
        {{}, u"Berlin"_s, u"Join <a href=\""_s + meet + u"\">here</a>"_s, meet},
        {{}, {}, u"(see "_s + zoom + u")"_s, zoom},
        {{}, {}, u"https://example.org and nothing else"_s, {}},
        {u"file:///tmp/zoom.us/run"_s, {}, {}, {}},
        {u"javascript:location='zoom.us'"_s, u"zoom.us/j/1 by hand"_s, {}, {}},
        {u"https:///zoom.us"_s, {}, {}, {}},
        {u"https://evil.example/zoom.us"_s, u"https://zoom.us@evil.example"_s, zoom, zoom},
        {u"http://zoom.us/j/1"_s, {}, {}, zoom},
        {u"http://zoom.us:8080/j/1"_s, {}, {}, {}},
        {u"https://eu.safelinks.protection.outlook.com/?url=https%3A%2F%2Fzoom.us%2Fj%2F1&data=05"_s,
         {},
         {},
         zoom},
        {{}, {}, u"https://www.google.com/url?q=https://meet.google.com/a&sa=D"_s, meet},
        {u"https://eu.safelinks.protection.outlook.com/?url=file%3A%2F%2Fzoom.us%2Frun"_s, {}, {}, {}},
    };
    for (const Row& row : rows) {
        const auto link = meetingLink::find(row.url, row.location, row.notes);
        EXPECT_EQ(link ? link->toString() : QString(), row.expected)
            << qPrintable(row.url + u'|' + row.location + u'|' + row.notes);
    }
}

TEST(PrepTime, isRoundedToMinutes) {
    const QDateTime now = at(9, 0);
    const std::pair<int, QString> rows[] = {
        {29, u"now"_s},
        {31, u"in 1 min"_s},
        {0, u"now"_s},
        {-29, u"now"_s},
        {300, u"in 5 min"_s},
        {7200, u"in 120 min"_s},
        {-30, u"started 1 min ago"_s},
        {-95, u"started 2 min ago"_s},
    };
    for (const auto& [seconds, phrase] : rows) {
        EXPECT_EQ(prepTime::phrase(now.addSecs(seconds), now), phrase) << seconds;
    }
}

TEST(Agenda, holdsWhatTheUserHasToBeAt) {
    auto allDay = event(u"Holiday"_s, at(0, 0), 1440);
    allDay.isAllDay = true;
    auto off = event(u"Off"_s, at(10, 0));
    off.isCanceled = true;
    auto declined = event(u"Declined"_s, at(11, 0));
    declined.attendees = {{.answer = CalendarAttendee::Answer::declined, .isCurrentUser = true}};
    auto met = event(u" "_s, at(9, 30));
    met.location = u"https://zoom.us/j/1"_s;
    met.attendees = {{.name = u"Me"_s, .isCurrentUser = true},
                     {.name = u"Ann  Lee"_s, .email = u"ann@acme.com"_s},
                     {.name = u"Ann  Lee"_s, .email = u"ann@acme.com"_s},
                     {.email = u"bo@acme.com"_s},
                     {.name = u"Room 4"_s, .kind = CalendarAttendee::Kind::room},
                     {.name = u"Beamer"_s, .kind = CalendarAttendee::Kind::resource},
                     {.name = u"Cy"_s, .answer = CalendarAttendee::Answer::declined},
                     {}};
    auto alone = event(u"Focus"_s, at(8, 0));
    alone.isFree = true;
    const QList<PrepEvent> meetings = agenda::of({allDay, off, declined, met, alone});
    ASSERT_EQ(titles(meetings), (QStringList{u"Focus"_s, u"Meeting"_s}));
    EXPECT_EQ(meetings.last().attendees, (QList<PrepEvent::Attendee>{{u"Ann Lee"_s, u"ann@acme.com"_s},
                                                                     {u"bo@acme.com"_s, u"bo@acme.com"_s}}));
    EXPECT_EQ(meetings.last().link, QUrl(u"https://zoom.us/j/1"_s));
    EXPECT_EQ(titles(agenda::upcoming(meetings, at(9, 0))), QStringList{u"Meeting"_s});
    EXPECT_TRUE(agenda::upcoming(meetings, at(21, 30, 0, 1)).isEmpty()) << "12 hours ahead is too far";
    EXPECT_EQ(agenda::upcoming(meetings, at(21, 30, 1, 1)).size(), 1);
}

TEST(Agenda, reachesThroughTomorrowWhateverTheClocksDo) {
    const auto zone = qgetenv("TZ");
    struct Row {
        const char* zone;
        QDateTime now;
        QString to;
    };
    const Row rows[] = {
        {"Europe/Berlin", at(23, 59), u"2026-03-04T00:00:00"_s},
        // An hour is missing on the day itself, then a midnight, and an hour comes twice.
        {"Europe/Berlin", QDateTime(QDate(2026, 3, 28), QTime(12, 0)), u"2026-03-30T00:00:00"_s},
        {"America/Sao_Paulo", QDateTime(QDate(2018, 11, 2), QTime(12, 0)), u"2018-11-04T01:00:00"_s},
        {"Europe/Berlin", QDateTime(QDate(2026, 10, 24), QTime(12, 0)), u"2026-10-26T00:00:00"_s},
    };
    for (const Row& row : rows) {
        qputenv("TZ", row.zone);
        tzset();
        const QDateTime now(row.now.date(), row.now.time());
        const auto span = agenda::span(now);
        EXPECT_EQ(span.to.toString(Qt::ISODate), row.to) << row.zone;
        EXPECT_EQ(span.from.secsTo(now), 14'400);
    }
    zone.isNull() ? qunsetenv("TZ") : qputenv("TZ", zone);
    tzset();
}

TEST(Agenda, tellsTheMeetingOfTheMoment) {
    const QList<PrepEvent> day = agenda::of(
        {event(u"Long"_s, at(9, 0), 120), event(u"Short"_s, at(10, 0), 15), event(u"Late"_s, at(11, 5), 10)});
    const std::pair<QDateTime, QString> rows[] = {
        {at(8, 49, 59), {}},       {at(8, 50), u"Long"_s},  {at(10, 5), u"Long"_s}, {at(11, 0), u"Long"_s},
        {at(11, 0, 1), u"Late"_s}, {at(11, 15), u"Late"_s}, {at(11, 15, 1), {}},
    };
    for (const auto& [now, title] : rows) {
        const auto found = agenda::eventNow(day, now);
        EXPECT_EQ(found ? found->title : QString(), title) << qPrintable(now.toString(Qt::ISODate));
    }
}

TEST(Agenda, findsTheMeetingThatIsMeant) {
    auto sync = event(u"Weekly sync"_s, at(9, 0));
    auto later = event(u"Weekly sync"_s, at(15, 0));
    auto lunch = event(u"Lunch"_s, at(12, 0));
    auto review = event(u"Review of the week"_s, at(16, 0));
    review.attendees = {{.name = u"Ann"_s}};
    const QList<PrepEvent> day = agenda::of({sync, later, lunch, review});
    const std::pair<QString, QString> rows[] = {
        {u"weekly"_s, day.at(2).key()},
        {day.at(0).key(), day.at(0).key()},
        {u"lunch"_s, day.at(1).key()},
        {u"WEEK"_s, day.at(2).key()},
        {u"the week"_s, day.at(3).key()},
        {u"weekly sync"_s, day.at(2).key()},
        {{}, day.at(3).key()},
        {u"dinner"_s, {}},
    };
    for (const auto& [text, key] : rows) {
        const auto found = agenda::find(day, text, at(11, 0));
        EXPECT_EQ(found ? found->key() : QString(), key) << qPrintable(text);
    }
    EXPECT_EQ(agenda::find(day, {}, at(17, 0)), std::nullopt);
    EXPECT_EQ(agenda::find(agenda::of({lunch}), {}, at(11, 0))->title, u"Lunch"_s);
    EXPECT_EQ(agenda::find(day, u"lunch"_s, at(17, 0))->title, u"Lunch"_s) << "also one that is over";
    auto fair = event(u"Fair"_s, at(9, 0).addDays(-60), 90 * 24 * 60);
    fair.attendees = review.attendees;
    EXPECT_EQ(agenda::find(agenda::of({fair, lunch}), {}, at(11, 0))->title, u"Lunch"_s);
    EXPECT_EQ(agenda::find(agenda::of({fair}), {}, at(11, 0)), std::nullopt);
    EXPECT_EQ(agenda::find(agenda::of({fair, lunch}), u"fair"_s, at(11, 0))->title, u"Fair"_s);
}
