#pragma once

#include "LumbroCore/Literals.h"
#include "tests/support/ScratchFolder.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <utility>

namespace lumbro::test {

/// Events of many kinds around the changes of the clocks in 2026. Each id comes with the lines of its events,
/// which stand between BEGIN:VEVENT and END:VEVENT.
inline const QList<std::pair<QString, QList<QByteArray>>> madeCalendar{
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

/// Rules that calendars seldom have, each with an id of its own; around March and October of 2026.
inline const QList<std::pair<QString, QList<QByteArray>>> seldomRules{
    {u"hours of workdays"_s,
     {"DTSTART;TZID=Europe/Berlin:20260227T090000\r\nDURATION:PT15M\r\n"
      "RRULE:FREQ=HOURLY;INTERVAL=2;BYHOUR=9,11,12,13;BYDAY=MO,FR;UNTIL=20261201T000000Z\r\n"}},
    {u"hours that are counted"_s,
     {"DTSTART;TZID=Europe/Berlin:20260301T083000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=HOURLY;BYHOUR=8,17;BYMINUTE=0,30;COUNT=40\r\n"}},
    {u"hours of last days"_s,
     {"DTSTART;TZID=Europe/Berlin:20260131T100000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=HOURLY;BYHOUR=10;BYMONTHDAY=-1,1;UNTIL=20261201T000000Z\r\n"}},
    {u"minutes"_s,
     {"DTSTART;TZID=Europe/Berlin:20260303T090000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=MINUTELY;INTERVAL=90;BYDAY=TU;BYHOUR=9,10,11,12,15;UNTIL=20261201T000000Z\r\n"}},
    {u"seconds"_s,
     {"DTSTART;TZID=Europe/Berlin:20260307T093000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=SECONDLY;BYDAY=SA;BYHOUR=9;BYMINUTE=30;BYSECOND=0;UNTIL=20260501T000000Z\r\n"}},
    {u"days by the last of a month"_s,
     {"DTSTART;TZID=Europe/Berlin:20260130T200000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=DAILY;BYMONTHDAY=-2,5;UNTIL=20261201T000000Z\r\n"}},
    {u"leap day"_s, {"DTSTART;VALUE=DATE:20240229\r\nRRULE:FREQ=YEARLY\r\n"}},
    {u"the 31st"_s,
     {"DTSTART;TZID=Europe/Berlin:20260131T120000\r\nDURATION:PT1H\r\nRRULE:FREQ=MONTHLY\r\n"}},
    {u"second last day"_s,
     {"DTSTART;TZID=Europe/Berlin:20260130T120000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=MONTHLY;BYMONTHDAY=-2\r\n"}},
    {u"last workday"_s,
     {"DTSTART;TZID=Europe/Berlin:20260130T130000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1\r\n"}},
    {u"second of two"_s,
     {"DTSTART;TZID=Europe/Berlin:20260105T130000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=WEEKLY;BYDAY=MO,TH,SA;BYSETPOS=2\r\n"}},
    {u"weeks from Sunday"_s,
     {"DTSTART;TZID=Europe/Berlin:20260106T130000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=WEEKLY;INTERVAL=2;WKST=SU;BYDAY=TU,SU\r\n"}},
    {u"weeks from Monday"_s,
     {"DTSTART;TZID=Europe/Berlin:20260106T140000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=WEEKLY;INTERVAL=2;WKST=MO;BYDAY=TU,SU;COUNT=30\r\n"}},
    {u"weeks of the year"_s,
     {"DTSTART;TZID=Europe/Berlin:20250303T130000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=YEARLY;BYWEEKNO=10,13,-10;BYDAY=MO,FR\r\n"}},
    {u"days of the year"_s,
     {"DTSTART;TZID=Europe/Berlin:20250101T150000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=YEARLY;BYYEARDAY=1,80,-60\r\n"}},
    {u"election"_s,
     {"DTSTART;TZID=Europe/Berlin:19961105T090000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=MONTHLY;BYDAY=TU;BYMONTHDAY=2,3,4,5,6,7,8\r\n"}},
    {u"last Sunday of March"_s,
     {"DTSTART;TZID=Europe/Berlin:20200329T090000\r\nDURATION:PT1H\r\n"
      "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\n"}},
    {u"twice a day"_s,
     {"DTSTART;TZID=Europe/Berlin:20260302T060000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=DAILY;INTERVAL=5;BYHOUR=6,20;BYMINUTE=0,20;UNTIL=20261201T000000Z\r\n"}},
    {u"counted with one left out"_s,
     {"DTSTART;TZID=Europe/Berlin:20260302T070000\r\nDURATION:PT5M\r\nRRULE:FREQ=DAILY;COUNT=5\r\n"
      "EXDATE;TZID=Europe/Berlin:20260303T070000\r\n"}},
    {u"until local"_s,
     {"DTSTART;TZID=Europe/Berlin:20260327T073000\r\nDURATION:PT5M\r\n"
      "RRULE:FREQ=DAILY;UNTIL=20260330T053000Z\r\n"}},
    {u"until without a zone"_s,
     {"DTSTART:20260327T074000\r\nDURATION:PT5M\r\nRRULE:FREQ=DAILY;UNTIL=20260330T074000\r\n"}},
    {u"days until"_s, {"DTSTART;VALUE=DATE:20260310\r\nRRULE:FREQ=WEEKLY;UNTIL=20260324\r\n"}},
    {u"added times"_s,
     {"DTSTART;TZID=Europe/Berlin:20260327T053000\r\nDURATION:PT5M\r\n"
      "RDATE;TZID=Europe/Berlin:20260328T053000,20260329T053000\r\nRDATE:20261012T080000Z\r\n"}},
    {u"hours across the change"_s, {"DTSTART;TZID=Europe/Berlin:20260328T200000\r\nDURATION:PT24H\r\n"}},
    {u"a zone nobody knows"_s,
     {"DTSTART;TZID=Nowhere/Else:20260327T043000\r\nDTEND;TZID=Nowhere/Else:20260327T050000\r\n"}},
    {u"all later ones"_s,
     {"DTSTART;TZID=Europe/Berlin:20260302T033000\r\nDURATION:PT20M\r\nRRULE:FREQ=DAILY;COUNT=12\r\n",
      "RECURRENCE-ID;RANGE=THISANDFUTURE;TZID=Europe/Berlin:20260305T033000\r\n"
      "DTSTART;TZID=Europe/Berlin:20260305T043000\r\nDURATION:PT40M\r\n"}},
    {u"called off"_s,
     {"DTSTART;TZID=Europe/Berlin:20260302T032500\r\nDURATION:PT3M\r\nRRULE:FREQ=DAILY;COUNT=4\r\n",
      "RECURRENCE-ID;TZID=Europe/Berlin:20260303T032500\r\nSTATUS:CANCELLED\r\n"
      "DTSTART;TZID=Europe/Berlin:20260303T032500\r\nDURATION:PT3M\r\n"}},
};

/// The events with one id.
inline QByteArray vevents(const QString& id, const QList<QByteArray>& events) {
    QByteArray text;
    for (const QByteArray& lines : events) {
        text += "BEGIN:VEVENT\r\nDTSTAMP:20260101T000000Z\r\nUID:" + id.toUtf8() +
                "\r\nSUMMARY:" + id.toUtf8() + "\r\n" + lines + "END:VEVENT\r\n";
    }
    return text;
}

inline QByteArray calendarFile(const QByteArray& components) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//made//EN\r\n" + components + "END:VCALENDAR\r\n";
}

/// Writes the events as a folder of calendars has them, one file for each id.
inline void writeFolder(const ScratchFolder& folder,
                        const QList<std::pair<QString, QList<QByteArray>>>& calendar) {
    for (const auto& [id, events] : calendar) {
        folder.write(u"calendars/office/%1.ics"_s.arg(id), calendarFile(vevents(id, events)));
    }
}

}  // namespace lumbro::test
