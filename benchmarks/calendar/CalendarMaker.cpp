#include "benchmarks/calendar/CalendarMaker.h"

#include "benchmarks/library/MadeFiles.h"
#include "benchmarks/library/Words.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace lumbro::bench {

namespace {

constexpr unsigned seed = 20260327;
constexpr std::array folders{"work", "home", "team", "travel"};
constexpr std::array people{"Dana Kim", "Noor Ali", "Sam Ito", "Eva Roth", "Lee Park"};

/// What servers put into every single file.
constexpr const char* zone =
    "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\nBEGIN:DAYLIGHT\r\nTZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\n"
    "TZNAME:CEST\r\nDTSTART:19700329T020000\r\nRRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\n"
    "BEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\nTZOFFSETTO:+0100\r\nTZNAME:CET\r\nDTSTART:19701025T030000\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";

/// A day from three years before the summer of 2026 until then.
std::chrono::year_month_day someDay(Words& words) {
    using namespace std::chrono;
    return sys_days(year(2023) / 7 / 1) + days(words.below(1096));
}

std::string twoDigits(int number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string date(std::chrono::year_month_day day) {
    return std::to_string(int(day.year())) + twoDigits(int(unsigned(day.month()))) +
           twoDigits(int(unsigned(day.day())));
}

std::string at(const std::string& day, int hour, int minutes = 0) {
    return ";TZID=Europe/Berlin:" + day + 'T' + twoDigits(hour) + twoDigits(minutes) + "00\r\n";
}

std::string folded(const std::string& line) {
    constexpr size_t most = 74;
    std::string out;
    for (size_t at = 0; at < line.size();) {
        size_t length = std::min(most, line.size() - at);
        while (at + length < line.size() &&
               (static_cast<unsigned char>(line[at + length]) & 0xC0U) == 0x80U) {
            --length;  // Not within a letter.
        }
        out += (at == 0 ? "" : " ") + line.substr(at, length) + "\r\n";
        at += length;
    }
    return out;
}

/// Everything about an event but its times.
std::string about(Words& words, const std::string& id) {
    std::string title;
    words.sentence(title, 2 + words.below(4));
    std::string notes;
    words.sentence(notes, 10 + words.below(90));
    std::string out = "UID:" + id + "\r\nDTSTAMP:20260301T080000Z\r\nCREATED:20230701T080000Z\r\n" +
                      folded("SUMMARY:" + title) + folded("DESCRIPTION:" + notes) + "SEQUENCE:1\r\n";
    if (words.below(3) == 0) {
        out += "ORGANIZER;CN=Dana Kim:mailto:dana@example.org\r\n";
        for (int i = words.below(5); i >= 0; --i) {
            out += folded(std::string("ATTENDEE;CN=") + people.at(size_t(i)) +
                          ";PARTSTAT=ACCEPTED;ROLE=REQ-PARTICIPANT;RSVP=TRUE:mailto:p" + std::to_string(i) +
                          "@example.org");
        }
    }
    return out;
}

std::string alarm(Words& words) {
    return words.below(2) == 0
               ? ""
               : "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT15M\r\nDESCRIPTION:Reminder\r\n"
                 "END:VALARM\r\n";
}

std::string times(const std::string& day, int hour, int minutes) {
    return "DTSTART" + at(day, hour) + "DTEND" + at(day, hour + minutes / 60, minutes % 60);
}

std::string single(Words& words, const std::string& id) {
    const std::string day = date(someDay(words));
    const std::string when = words.below(10) == 0
                                 ? "DTSTART;VALUE=DATE:" + day + "\r\n"
                                 : times(day, 8 + words.below(10), 15 * (1 + words.below(7)));
    return "BEGIN:VEVENT\r\n" + about(words, id) + when + alarm(words) + "END:VEVENT\r\n";
}

std::string series(Words& words, const std::string& id) {
    constexpr std::array rules{"FREQ=WEEKLY",
                               "FREQ=WEEKLY;INTERVAL=2;BYDAY=TU,TH",
                               "FREQ=MONTHLY;BYDAY=1MO",
                               "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR",
                               "FREQ=YEARLY",
                               "FREQ=WEEKLY;COUNT=20",
                               "FREQ=WEEKLY;UNTIL=20261231T220000Z"};
    using namespace std::chrono;
    const year_month_day first = someDay(words);
    const int hour = 8 + words.below(10);
    const std::string next = date(year_month_day(sys_days(first) + days(7)));
    const size_t rule = size_t(words.below(int(rules.size())));
    const bool isWeekly = rule == 0 || rule > 4;
    const std::string after = date(year_month_day(sys_days(first) + days(14)));
    std::string out = "BEGIN:VEVENT\r\n" + about(words, id) + times(date(first), hour, 30) +
                      "RRULE:" + rules.at(rule) + "\r\n";
    if (isWeekly && words.below(2) == 0) {
        out += "EXDATE" + at(next, hour);
    }
    out += alarm(words) + "END:VEVENT\r\n";
    if (isWeekly && words.below(3) == 0) {
        out += "BEGIN:VEVENT\r\n" + about(words, id) + "RECURRENCE-ID" + at(after, hour) +
               times(after, hour + 1, 45) + "END:VEVENT\r\n";
    }
    return out;
}

std::string task(Words& words, const std::string& id) {
    std::string title;
    words.sentence(title, 4);
    return "BEGIN:VTODO\r\nUID:" + id + "\r\nDTSTAMP:20260301T080000Z\r\nSUMMARY:" + title +
           "\r\nDUE;VALUE=DATE:" + date(someDay(words)) + "\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\n";
}

}  // namespace

bool makeCalendar(const std::string& root, const CalendarSize& size) {
    MadeFiles files;
    Words words(seed);
    for (const char* folder : folders) {
        files.folder(root + '/' + folder);
        files.write(root + '/' + folder + "/displayname", folder);
    }
    for (int i = 0; i < size.items; ++i) {
        const std::string id = words.uuid();
        const std::string item = i < size.recurring                ? zone + series(words, id)
                                 : i < size.recurring + size.tasks ? task(words, id)
                                                                   : zone + single(words, id);
        files.write(root + '/' + folders.at(size_t(i) % folders.size()) + '/' + id + ".ics",
                    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example//Server//EN\r\n" + item +
                        "END:VCALENDAR\r\n");
    }
    return files.isWhole();
}

}  // namespace lumbro::bench
