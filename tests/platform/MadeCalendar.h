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
