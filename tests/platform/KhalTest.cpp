#include "platform/linux/desktop/VdirCalendar.h"
#include "tests/support/Khal.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using test::wait;

namespace {

/// Each with the lines of its events, which stand between BEGIN:VEVENT and END:VEVENT.
const QList<std::pair<QString, QList<QByteArray>>> madeCalendar{
    {u"weekly"_s,
     {"DTSTART;TZID=Europe/Berlin:20260105T093000\r\nDTEND;TZID=Europe/Berlin:20260105T101500\r\n"
      "RRULE:FREQ=WEEKLY;BYDAY=MO,WE\r\nEXDATE;TZID=Europe/Berlin:20260325T093000\r\n"}},
    {u"elsewhere"_s,
     {"DTSTART;TZID=America/New_York:20260302T090000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=DAILY;UNTIL=20261110T140000Z\r\n",
      "RECURRENCE-ID;TZID=America/New_York:20260331T090000\r\n"
      "DTSTART;TZID=America/New_York:20260331T110000\r\nDURATION:PT30M\r\n"}},
    {u"days"_s,
     {"DTSTART;VALUE=DATE:20260328\r\nDTEND;VALUE=DATE:20260330\r\nRRULE:FREQ=MONTHLY;COUNT=8\r\n"}},
    {u"in the gap"_s,
     {"DTSTART;TZID=Europe/Berlin:20260327T023000\r\nDTEND;TZID=Europe/Berlin:20260327T030000\r\n"
      "RRULE:FREQ=DAILY;COUNT=5\r\n"}},
    {u"night of the change"_s,
     {"DTSTART;TZID=Europe/Berlin:20260328T230000\r\nDTEND;TZID=Europe/Berlin:20260329T040000\r\n"}},
    {u"from midnight"_s,
     {"DTSTART;TZID=Europe/Berlin:20260402T000000\r\nDTEND;TZID=Europe/Berlin:20260403T000000\r\n"}},
    {u"last Monday"_s,
     {"DTSTART:20260330T120000\r\nDTEND:20260330T130000\r\nRRULE:FREQ=MONTHLY;BYDAY=-1MO\r\n"}},
    {u"universal"_s,
     {"DTSTART:20260301T080000Z\r\nDTEND:20260301T083000Z\r\nRRULE:FREQ=WEEKLY;INTERVAL=2\r\n"}},
    {u"far east"_s,
     {"DTSTART;TZID=Asia/Kathmandu:20260320T101500\r\nDTEND;TZID=Asia/Kathmandu:20260320T110000\r\n"
      "RRULE:FREQ=WEEKLY;COUNT=4\r\nRDATE;TZID=Asia/Kathmandu:20260401T101500\r\n"}},
    {u"yearly"_s, {"DTSTART;VALUE=DATE:20200329\r\nRRULE:FREQ=YEARLY\r\n"}},
    {u"workdays"_s,
     {"DTSTART;TZID=Europe/Berlin:20250701T160000\r\nDURATION:PT15M\r\nRRULE:FREQ=DAILY;BYDAY=TU,TH,SU\r\n"}},
    {u"counted"_s,
     {"DTSTART;TZID=Europe/"
      "Berlin:20260112T070000\r\nDURATION:PT15M\r\nRRULE:FREQ=WEEKLY;INTERVAL=3;COUNT=5\r\n"}},
    {u"every third day"_s, {"DTSTART;VALUE=DATE:20260220\r\nRRULE:FREQ=DAILY;INTERVAL=3;UNTIL=20260403\r\n"}},
    {u"every other week"_s,
     {"DTSTART;TZID=Europe/Berlin:20260106T180000\r\nDURATION:PT30M\r\n"
      "RRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,TH;UNTIL=20261101T170000Z\r\n"}},
    {u"southern"_s,
     {"DTSTART;TZID=Australia/Lord_Howe:20260327T200000\r\nDURATION:PT45M\r\nRRULE:FREQ=DAILY;COUNT=12\r\n"}},
};

void write(const test::ScratchFolder& folder) {
    for (const auto& [title, events] : madeCalendar) {
        QByteArray file = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//made//EN\r\n";
        for (const QByteArray& lines : events) {
            file += "BEGIN:VEVENT\r\nDTSTAMP:20260101T000000Z\r\nUID:" + title.toUtf8() +
                    "\r\nSUMMARY:" + title.toUtf8() + "\r\n" + lines + "END:VEVENT\r\n";
        }
        folder.write(u"calendars/office/%1.ics"_s.arg(title), file + "END:VCALENDAR\r\n");
    }
}

/// Our events in the form of `Khal::events`.
QStringList lines(const QList<CalendarEvent>& events) {
    QStringList lines;
    for (const CalendarEvent& event : events) {
        const QString form = event.isAllDay ? u"yyyy-MM-dd"_s : u"yyyy-MM-dd HH:mm"_s;
        const QDateTime end = event.isAllDay ? event.end.addDays(-1) : event.end;
        lines.append(event.start.toString(form) + u'|' + end.toString(form) + u'|' + event.title);
    }
    lines.sort();
    return lines;
}

TEST(KhalTest, seesTheSameOccurrences) {
    if (!test::Khal::hasKhal()) {
        GTEST_SKIP() << "khal is not installed";
    }
    const test::ScratchFolder folder;
    write(folder);
    Settings settings{folder.path(u"settings.ini"_s)};
    settings.set(u"calendarFolder"_s, folder.path(u"calendars"_s));
    test::TestClock clock;
    VdirCalendar calendar(settings, clock);
    const test::Khal khal(folder.path(u"calendars"_s), folder.path(u"home"_s));
    // The clocks change on March 29 and October 25 here, on March 8 and November 1 in New York.
    for (const QDate& from : {QDate(2026, 3, 1), QDate(2026, 10, 12)}) {
        const QDate to = from.addDays(36);
        const QStringList theirs = khal.events(from, to);
        EXPECT_GT(theirs.size(), 40);
        EXPECT_EQ(lines(wait(calendar.events(from.startOfDay(), to.startOfDay()))).join(u'\n').toStdString(),
                  theirs.join(u'\n').toStdString());
    }
}

}  // namespace
