#include "LumbroCore/AppLog.h"
#include "platform/linux/desktop/VdirCalendar.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>
#include <csignal>
#include <ctime>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lumbro;
using test::wait;

namespace {

/// The machine stands in Berlin, whose clocks change on March 29 and October 25 of 2026.
class VdirCalendarTest : public testing::Test {
  protected:
    VdirCalendarTest() {
        qputenv("TZ", "Europe/Berlin");
        tzset();
        m_settings.set(u"calendarFolder"_s, m_folder.path(u"calendars"_s));
        m_settings.set(u"ownEmail"_s, u"me@example.org"_s);
        m_folder.write(u"calendars/office/displayname"_s, "Work\n");
    }

    void put(const QString& name, const QByteArray& lines) {
        m_folder.write(u"calendars/office/"_s + name + u".ics"_s,
                       "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + lines + "END:VCALENDAR\r\n");
    }
    static QByteArray vevent(const QByteArray& lines, const QByteArray& id = "one") {
        return "BEGIN:VEVENT\r\nUID:" + id + "\r\nSUMMARY:" + id + "\r\n" + lines + "END:VEVENT\r\n";
    }
    QList<CalendarEvent> events(QDate from, QDate to) {
        return wait(m_calendar.events(from.startOfDay(), to.startOfDay()));
    }
    /// The starts in local time, each as "MM-dd HH:mm".
    QStringList starts(QDate from, QDate to) {
        QStringList starts;
        for (const CalendarEvent& event : events(from, to)) {
            starts.append(event.start.toString(u"MM-dd HH:mm"_s));
        }
        return starts;
    }

    test::ScratchFolder m_folder;
    Settings m_settings{m_folder.path(u"settings.ini"_s)};
    test::TestClock m_clock;
    VdirCalendar m_calendar{m_settings, m_clock};
};

const QDate march1(2026, 3, 1);
const QDate april10(2026, 4, 10);

TEST_F(VdirCalendarTest, occursWhenTheRulesSay) {
    struct Row {
        const char* name;
        QByteArray lines;
        QStringList starts;
    };
    const QList<Row> rows{
        {"across a change of the clocks",
         "DTSTART;TZID=Europe/Berlin:20260322T090000\r\nRRULE:FREQ=WEEKLY;COUNT=3\r\n",
         {u"03-22 09:00"_s, u"03-29 09:00"_s, u"04-05 09:00"_s}},
        {"in a place whose clocks change on another day",
         "DTSTART;TZID=America/New_York:20260301T080000\r\nRRULE:FREQ=WEEKLY;UNTIL=20260329T120000Z\r\n",
         {u"03-01 14:00"_s, u"03-08 13:00"_s, u"03-15 13:00"_s, u"03-22 13:00"_s, u"03-29 14:00"_s}},
        {"a name of another system",
         "DTSTART;TZID=Eastern Standard Time:20260310T080000\r\n",
         {u"03-10 13:00"_s}},
        {"UTC", "DTSTART:20260401T080000Z\r\n", {u"04-01 10:00"_s}},
        {"without a zone", "DTSTART:20260401T080000\r\n", {u"04-01 08:00"_s}},
        {"left out and added",
         "DTSTART;TZID=Europe/Berlin:20260302T090000\r\nRRULE:FREQ=DAILY;COUNT=4\r\n"
         "EXDATE;TZID=Europe/Berlin:20260303T090000,20260304T090000\r\nRDATE;TZID=Europe/"
         "Berlin:20260320T110000\r\n",
         {u"03-02 09:00"_s, u"03-05 09:00"_s, u"03-20 11:00"_s}},
        {"left out in UTC and by the day",
         "DTSTART;TZID=Europe/Berlin:20260302T090000\r\nRRULE:FREQ=DAILY;UNTIL=20260305\r\n"
         "EXDATE:20260303T080000Z\r\nEXDATE;VALUE=DATE:20260304\r\n",
         {u"03-02 09:00"_s, u"03-05 09:00"_s}},
        {"the first one left out",
         "DTSTART;TZID=Europe/Berlin:20260302T090000\r\nRRULE:FREQ=DAILY;COUNT=2\r\n"
         "EXDATE;TZID=Europe/Berlin:20260302T090000\r\n",
         {u"03-03 09:00"_s}},
        {"begun long ago",
         "DTSTART;TZID=Europe/Berlin:19950102T090000\r\nRRULE:FREQ=MONTHLY;BYDAY=-1MO\r\n",
         {u"03-30 09:00"_s}},
        {"every other week since long ago",
         "DTSTART;TZID=Europe/Berlin:20200106T090000\r\nRRULE:FREQ=WEEKLY;INTERVAL=2;BYDAY=MO\r\n",
         {u"03-09 09:00"_s, u"03-23 09:00"_s, u"04-06 09:00"_s}},
        {"every second for ever", "DTSTART:20260302T090000\r\nRRULE:FREQ=SECONDLY\r\n", {u"03-02 09:00"_s}},
        {"until a day that isn't",
         "DTSTART:20260302T090000\r\nRRULE:FREQ=HOURLY;UNTIL=20260300\r\n",
         {u"03-02 09:00"_s}},
        {"never again",
         "DTSTART:20260302T090000\r\nRRULE:FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30\r\n",
         {u"03-02 09:00"_s}},
        {"every hour of no day",
         "DTSTART:20260302T090000\r\nRRULE:FREQ=HOURLY;BYMONTH=2;BYMONTHDAY=30\r\n",
         {u"03-02 09:00"_s}},
        {"a huge step",
         "DTSTART:20260302T090000\r\nRRULE:FREQ=YEARLY;INTERVAL=32767\r\n",
         {u"03-02 09:00"_s}},
        {"more often than can be counted",
         "DTSTART:19010101T090000\r\nRRULE:FREQ=DAILY;COUNT=2147483647\r\n",
         {}},
        {"no such day", "DTSTART:20260231T090000\r\n", {}},
    };
    for (const Row& row : rows) {
        put(u"one"_s, vevent(row.lines));
        const QStringList found = starts(march1, april10);
        if (QByteArray(row.name).startsWith("more")) {
            EXPECT_LE(found.size(), 40) << row.name;
        } else {
            EXPECT_EQ(found, row.starts) << row.name;
        }
    }
}

TEST_F(VdirCalendarTest, aMovedOccurrenceStandsOnlyAtItsNewTime) {
    put(u"one"_s,
        vevent("DTSTART;TZID=Europe/Berlin:20260302T090000\r\nDTEND;TZID=Europe/Berlin:20260302T093000\r\n"
               "RRULE:FREQ=WEEKLY;COUNT=4\r\n") +
            vevent("RECURRENCE-ID;TZID=Europe/Berlin:20260309T090000\r\nDTSTART:20260310T140000Z\r\n"
                   "DURATION:PT2H\r\n") +
            vevent("RECURRENCE-ID:20260316T080000Z\r\nDTSTART;TZID=Europe/Berlin:20260316T090000\r\n"
                   "STATUS:CANCELLED\r\n"));
    const auto found = events(march1, april10);
    ASSERT_EQ(found.size(), 4);
    EXPECT_EQ(found[0].end, QDateTime(QDate(2026, 3, 2), QTime(9, 30)));
    EXPECT_EQ(found[1].start, QDateTime(QDate(2026, 3, 10), QTime(15, 0)));
    EXPECT_EQ(found[1].end, QDateTime(QDate(2026, 3, 10), QTime(17, 0)));
    EXPECT_TRUE(found[2].isCanceled);
    EXPECT_FALSE(found[3].isCanceled);
}

TEST_F(VdirCalendarTest, wholeDaysRunFromMidnightToMidnight) {
    put(u"one"_s, vevent("DTSTART;VALUE=DATE:20260328\r\nDTEND;VALUE=DATE:20260330\r\n"));
    put(u"two"_s, vevent("DTSTART;VALUE=DATE:20260401\r\nRRULE:FREQ=DAILY;COUNT=2\r\n", "two"));
    const auto found = events(march1, april10);
    ASSERT_EQ(found.size(), 3);
    EXPECT_TRUE(found[0].isAllDay);
    EXPECT_EQ(found[0].start, QDate(2026, 3, 28).startOfDay());
    EXPECT_EQ(found[0].end, QDate(2026, 3, 30).startOfDay());
    EXPECT_EQ(found[2].end, QDate(2026, 4, 3).startOfDay());
    EXPECT_EQ(events(QDate(2026, 3, 29), QDate(2026, 3, 30)).size(), 1);
    EXPECT_TRUE(events(QDate(2026, 3, 30), QDate(2026, 3, 31)).isEmpty());
}

TEST_F(VdirCalendarTest, takesAZoneThatOnlyTheFileKnows) {
    put(u"one"_s,
        "BEGIN:VTIMEZONE\r\nTZID:Office\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
        "TZOFFSETFROM:+0300\r\nTZOFFSETTO:+0300\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n" +
            vevent("DTSTART;TZID=Office:20260310T120000\r\n"));
    // A description whose clocks change every second is left out.
    put(u"two"_s,
        "BEGIN:VTIMEZONE\r\nTZID:Bad\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
        "RRULE:FREQ=SECONDLY\r\nTZOFFSETFROM:+0300\r\nTZOFFSETTO:+0300\r\nEND:STANDARD\r\n"
        "END:VTIMEZONE\r\n" +
            vevent("DTSTART;TZID=Bad:20260311T120000\r\n", "two"));
    EXPECT_EQ(starts(march1, april10), (QStringList{u"03-10 10:00"_s, u"03-11 12:00"_s}));
}

TEST_F(VdirCalendarTest, readsWhoIsInvitedAndWhatItMeans) {
    put(u"one"_s, vevent("DTSTART:20260302T090000\r\nTRANSP:TRANSPARENT\r\nLOCATION:Room 1\\, 2nd floor\r\n"
                         "DESCRIPTION:See\\nhttps://example.org/x\r\nURL:https://example.org/j\r\n"
                         "ATTENDEE;CN=\"Kim, Dana\";PARTSTAT=ACCEPTED:mailto:dana@example.org\r\n"
                         "ATTENDEE;CN=Me;PARTSTAT=DECLINED:MAILTO:Me@Example.org\r\n"
                         "ATTENDEE;CUTYPE=ROOM;CN=Room 1:mailto:room1@example.org\r\n"
                         "ATTENDEE;CUTYPE=RESOURCE:urn:x\r\n"));
    const auto found = events(march1, april10);
    ASSERT_EQ(found.size(), 1);
    const CalendarEvent& event = found.first();
    EXPECT_TRUE(event.isFree);
    EXPECT_TRUE(event.isDeclinedByUser());
    EXPECT_EQ(event.location, u"Room 1, 2nd floor");
    EXPECT_EQ(event.notes, u"See\nhttps://example.org/x");
    EXPECT_EQ(event.url, u"https://example.org/j");
    EXPECT_EQ(event.calendar, u"Work");
    ASSERT_EQ(event.attendees.size(), 4);
    using Kind = CalendarAttendee::Kind;
    EXPECT_EQ(event.attendees[0], (CalendarAttendee{u"Kim, Dana"_s, u"dana@example.org"_s, Kind::person,
                                                    CalendarAttendee::Answer::accepted, false}));
    EXPECT_EQ(event.attendees[2].kind, Kind::room);
    EXPECT_EQ(event.attendees[3].kind, Kind::resource);
}

TEST_F(VdirCalendarTest, brokenFilesLeaveTheOthersReadable) {
    put(u"good"_s, vevent("DTSTART:20260302T090000\r\n", "good"));
    m_folder.write(u"calendars/office/empty.ics"_s, {});
    m_folder.write(u"calendars/office/half.ics"_s, "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nDTSTART:2026");
    m_folder.write(u"calendars/office/bytes.ics"_s, QByteArray("\xFF\xFE\0\x80 BEGIN", 10));
    m_folder.write(u"calendars/office/deep.ics"_s, QByteArray("BEGIN:VCALENDAR\r\n").repeated(50'000));
    m_folder.write(u"calendars/office/huge.ics"_s, QByteArray(3 << 20, 'x'));
    m_folder.write(u"calendars/office/.hidden.ics"_s,
                   "BEGIN:VCALENDAR\r\n" + vevent("DTSTART:20260302T090000\r\n"));
    put(u"latin"_s, vevent("DTSTART:20260303T090000\r\nLOCATION:Caf\xE9\r\n", "latin"));
    QDir().mkpath(m_folder.path(u"calendars/office/folder.ics"_s));
    EXPECT_EQ(starts(march1, april10), (QStringList{u"03-02 09:00"_s, u"03-03 09:00"_s}));
}

TEST_F(VdirCalendarTest, hostileSeriesTakeNoTime) {
    put(u"good"_s, vevent("DTSTART:20260302T090000\r\n", "good"));
    const QByteArray rules[] = {
        "RRULE:FREQ=SECONDLY\r\n",
        "RRULE:FREQ=DAILY;BYHOUR=0,1,2,3,4,5,6,7;BYMINUTE=0,1,2,3,4,5,6;BYSECOND=0,1\r\n",
        "RRULE:FREQ=YEARLY;BYDAY=MO,TU,WE,TH,FR,SA,SU;BYHOUR=1,2,3,4;BYMINUTE=1,2,3\r\n",
        "RRULE:FREQ=WEEKLY;INTERVAL=2147483647;COUNT=2147483647\r\n",
        "RRULE:FREQ=MONTHLY;BYMONTHDAY=31;BYMONTH=2;BYSETPOS=-366\r\n",
        QByteArray("RRULE:FREQ=DAILY\r\n").repeated(5000),
        "RDATE:" + QByteArray("20260302T090000,").repeated(20'000) + "20260302T090000\r\n"};
    int id = 0;
    for (const QByteArray& rule : rules) {
        const QString name = QString::number(++id);
        put(name, vevent("DTSTART:19010101T000000\r\nDTEND:20991231T000000\r\n" + rule, name.toUtf8()));
    }
    QElapsedTimer timer;
    timer.start();
    const auto found = events(march1, april10);
    EXPECT_LT(timer.elapsed(), 60'000);
    EXPECT_LT(found.size(), 400'000);
    EXPECT_TRUE(
        std::ranges::any_of(found, [](const CalendarEvent& event) { return event.title == u"good"; }));
}

TEST_F(VdirCalendarTest, manyHostileSeriesTogetherTakeLittleTime) {
    struct Row {
        const char* name;
        QByteArray rule;
        int count;
    };
    QByteArray minutes = "0";
    for (int minute = 1; minute < 60; ++minute) {
        minutes += ',' + QByteArray::number(minute);
    }
    const Row rows[] = {
        {"every minute", "RRULE:FREQ=HOURLY;BYMINUTE=" + minutes + "\r\n", 2'000},
        {"never", "RRULE:FREQ=DAILY;BYMONTH=2;BYMONTHDAY=30\r\n", 4'000},
        {"counted from long ago", "RRULE:FREQ=DAILY;BYHOUR=1,2,3;COUNT=2000000000\r\n", 4'000},
        {"each a year long", "DTEND:20270301T000000\r\n" + QByteArray("RRULE:FREQ=DAILY\r\n").repeated(8),
         2'000},
    };
    put(u"good"_s, vevent("DTSTART:20260302T090000\r\nRRULE:FREQ=DAILY;COUNT=3\r\n", "good"));
    put(u"second"_s, vevent("DTSTART:20260302T100000\r\nRRULE:FREQ=MONTHLY;BYDAY=1MO\r\n", "second"));
    for (const Row& row : rows) {
        const bool isOld = QByteArray(row.name).startsWith("counted");
        QByteArray lines;
        for (int i = 0; i < row.count; ++i) {
            lines +=
                vevent((isOld ? "DTSTART:19010101T000000\r\n" : "DTSTART:20260301T000000\r\n") + row.rule,
                       QByteArray::number(i));
        }
        put(u"hostile"_s, lines);
        QElapsedTimer timer;
        timer.start();
        const auto found = events(march1, april10);
        EXPECT_LT(timer.elapsed(), 60'000) << row.name;
        EXPECT_LT(found.size(), 20'000) << row.name;
        EXPECT_EQ(std::ranges::count(found, u"good"_s, &CalendarEvent::title), 3) << row.name;
        EXPECT_EQ(std::ranges::count(found, u"second"_s, &CalendarEvent::title), 2) << row.name;
    }
}

TEST_F(VdirCalendarTest, hostileFilesLeaveTheOthersTheirShare) {
    QByteArray lines;
    for (int i = 0; i < 500; ++i) {
        lines += vevent("DTSTART:19010101T000000\r\nRRULE:FREQ=DAILY;BYHOUR=1,2,3;COUNT=2000000000\r\n",
                        QByteArray::number(i));
    }
    for (int i = 0; i < 15; ++i) {
        put(u"hostile %1"_s.arg(i), lines);
        put(u"good %1"_s.arg(i),
            vevent("DTSTART:20260302T090000\r\nRRULE:FREQ=MONTHLY;BYDAY=1MO,3TU\r\n", "good"));
    }
    // More than usual calendars, and less than hostile ones: every hour of 25 days.
    put(u"busy"_s, vevent("DTSTART:20260301T000000\r\nRRULE:FREQ=HOURLY;COUNT=600\r\n", "busy"));
    const auto logged = [] {
        AppLog::flush();
        return readFile(AppLog::url()).value_or(QByteArray()).count("hostile 7.ics repeats its events more");
    };
    const auto before = logged();
    const auto found = events(march1, april10);
    EXPECT_EQ(std::ranges::count(found, u"good"_s, &CalendarEvent::title), 15 * 3);
    EXPECT_EQ(std::ranges::count(found, u"busy"_s, &CalendarEvent::title), 600);
    EXPECT_EQ(logged(), before) << "a command tells it no log";
    for (const QDate& to : {QDate(2026, 6, 10), QDate(2026, 9, 10)}) {
        events(march1, to);
    }
    EXPECT_EQ(logged(), before + 1) << "once for each version of the file";
}

TEST_F(VdirCalendarTest, whatAKilledProcessLeftIsNoEvent) {
    const QDateTime start(QDate(2026, 3, 2), QTime(9, 0));
    ASSERT_TRUE(wait(m_calendar.add({u"whole"_s, start, start.addSecs(60), {}})));
    // A process that is killed while it writes leaves a part of a file under a name of its own.
    const QStringList before = QDir(m_folder.path(u"calendars/office"_s)).entryList(QDir::Files);
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            for (;;) {
                [[maybe_unused]] const auto written = writeFileAtomically(
                    m_folder.path(u"calendars/office/other.ics"_s),
                    IcalFile::written(
                        NewCalendarEvent{u"other"_s, start, start.addSecs(60), QString(5000, u'x')},
                        u"other"_s, start));
            }
        }
        usleep(useconds_t(1000 + i * 700));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
    }
    const auto found = events(march1, april10);
    for (const CalendarEvent& event : found) {
        EXPECT_TRUE(event.title == u"whole" || (event.title == u"other" && event.notes.size() == 5000));
    }
    EXPECT_LE(found.size(), 2);
}

TEST_F(VdirCalendarTest, seesWhatOtherProgramsChange) {
    put(u"one"_s, vevent("DTSTART:20260302T090000\r\n"));
    EXPECT_EQ(starts(march1, april10).size(), 1);
    bool wasTold = false;
    QObject::connect(&m_calendar, &CalendarStore::changed, [&] { wasTold = true; });
    put(u"one"_s, vevent("DTSTART:20260302T100000\r\n"));
    EXPECT_EQ(starts(march1, april10), QStringList{u"03-02 10:00"_s});
    put(u"two"_s, vevent("DTSTART:20260305T100000\r\n", "two"));
    EXPECT_TRUE(test::eventually([&] { return wasTold; }));
    EXPECT_EQ(starts(march1, april10).size(), 2);
    // A file that another program has only begun to write again keeps what it said.
    m_folder.write(u"calendars/office/two.ics"_s, "BEGIN:VCALENDAR\r\nBEGIN:VEV");
    EXPECT_EQ(starts(march1, april10).size(), 2);
    QFile::remove(m_folder.path(u"calendars/office/two.ics"_s));
    EXPECT_EQ(starts(march1, april10).size(), 1);
}

TEST_F(VdirCalendarTest, addsAnEventThatReadsBack) {
    const QDateTime start(QDate(2026, 3, 29), QTime(1, 30));
    const NewCalendarEvent event{u"Größe; 1, 2 \\ "_s + u"x"_s.repeated(120), start, start.addSecs(3600),
                                 u"With: Ann\nnote"_s};
    const auto added = wait(m_calendar.add(event));
    ASSERT_TRUE(added);
    EXPECT_EQ(added->calendar, u"Work");
    const auto found = events(march1, april10);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.first().id, added->id);
    EXPECT_EQ(found.first().title, event.title);
    EXPECT_EQ(found.first().notes, event.notes);
    EXPECT_EQ(found.first().start, event.start);
    EXPECT_EQ(found.first().end, event.end);
    EXPECT_EQ(QFileInfo(added->path).permissions() & QFile::ReadOther, 0);
    for (const QByteArray& line : readFile(added->path)->split('\n')) {
        EXPECT_LE(line.size(), 76);
        EXPECT_TRUE(QString::fromUtf8(line).toUtf8() == line);
    }
}

TEST_F(VdirCalendarTest, makesItsFolderOnlyWhenAsked) {
    m_settings.set(u"calendarFolder"_s, m_folder.path(u"new/place"_s));
    EXPECT_EQ(m_calendar.access(), CalendarAccess::notDetermined);
    EXPECT_TRUE(events(march1, april10).isEmpty());
    EXPECT_FALSE(m_folder.has(u"new"_s));
    EXPECT_EQ(wait(m_calendar.requestAccess()), CalendarAccess::full);
    const QDateTime start(QDate(2026, 3, 2), QTime(9, 0));
    const auto added = wait(m_calendar.add({u"first"_s, start, start.addSecs(60), {}}));
    ASSERT_TRUE(added);
    EXPECT_EQ(added->path.section(u'/', -2, -2), u"lumbro");
    EXPECT_EQ(m_folder.read(u"new/place/lumbro/displayname"_s), "Lumbro");
    EXPECT_EQ(events(march1, april10).size(), 1);
}

TEST_F(VdirCalendarTest, aBatchOfTasksStandsWholeOrNotAtAll) {
    const auto list = wait(m_calendar.makeTaskList(u"Lumbro"_s));
    ASSERT_TRUE(list);
    const QList<CalendarTask> tasks{{{}, u"send"_s, u"note"_s, QDate(2026, 3, 6), false},
                                    {{}, u"call"_s, {}, {}, false}};
    const auto added = wait(m_calendar.addTasks(tasks, list->id));
    ASSERT_TRUE(added);
    auto found = wait(m_calendar.tasks(list->id));
    std::ranges::sort(found, {}, &CalendarTask::title);
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[1].title, u"send");
    EXPECT_EQ(found[1].due, QDate(2026, 3, 6));
    EXPECT_TRUE(wait(m_calendar.renameTaskList(list->id, u"Other"_s)));
    EXPECT_EQ(m_calendar.taskLists().first().title, u"Other");
    EXPECT_FALSE(wait(m_calendar.addTasks(tasks, m_folder.path(u"calendars/missing"_s))));
    EXPECT_FALSE(m_folder.has(u"calendars/missing"_s));
}

}  // namespace
