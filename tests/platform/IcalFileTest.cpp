#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalFile.h"
#include "platform/linux/desktop/VdirFiles.h"
#include "tests/platform/MadeCalendar.h"
#include "tests/support/ScratchFolder.h"

#include <QDir>
#include <QElapsedTimer>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

/// The machine stands in Berlin, whose clocks change on March 29 and October 25 of 2026.
struct IcalFileTest : testing::Test {
    IcalFileTest() {
        qputenv("TZ", "Europe/Berlin");
        tzset();
    }

    static qint64 at(int month, int day) { return QDate(2026, month, day).startOfDay().toSecsSinceEpoch(); }

    /// Those of March and April, each as "03-02 09:00-10:00", with the title where it isn't "one".
    static QStringList occurrences(const IcalFile& file) {
        std::vector<IcalOccurrence> found;
        IcalBudget budget = IcalBudget::forReading();
        file.addOccurrences(at(3, 1), at(5, 1), budget, found);
        std::ranges::sort(found, {}, &IcalOccurrence::start);
        QStringList lines;
        for (const IcalOccurrence& each : found) {
            const CalendarEvent event = each.event();
            const QString end =
                event.end.toString(event.end.date() == event.start.date() ? u"HH:mm"_s : u"MM-dd HH:mm"_s);
            lines.append(event.start.toString(u"MM-dd HH:mm"_s) + u'-' + end +
                         (event.isCanceled        ? u" off"_s
                          : event.title == u"one" ? QString()
                                                  : u' ' + event.title));
        }
        return lines;
    }
    static QStringList occurrences(const QList<QByteArray>& events) {
        return occurrences(IcalFile::read(test::calendarFile(test::vevents(u"one"_s, events)), {}));
    }
};

TEST_F(IcalFileTest, takesAsLongAsItSays) {
    struct Row {
        const char* name;
        QByteArray lines;
        QStringList occurrences;
    };
    const QByteArray evening = "DTSTART;TZID=Europe/Berlin:20260328T190000\r\n";
    const Row rows[] = {
        {"a day on which the clocks change", evening + "DURATION:P1D\r\n", {u"03-28 19:00-03-29 19:00"_s}},
        {"24 hours", evening + "DURATION:PT24H\r\n", {u"03-28 19:00-03-29 20:00"_s}},
        {"a day and two hours", evening + "DURATION:P1DT2H\r\n", {u"03-28 19:00-03-29 21:00"_s}},
        {"a week", evening + "DURATION:P1W\r\n", {u"03-28 19:00-04-04 19:00"_s}},
        {"an end, which stands for time that passes",
         evening + "DTEND;TZID=Europe/Berlin:20260329T190000\r\nRRULE:FREQ=DAILY;COUNT=2\r\n",
         {u"03-28 19:00-03-29 19:00"_s, u"03-29 19:00-03-30 18:00"_s}},
        {"an end before the beginning",
         evening + "DTEND;TZID=Europe/Berlin:20260328T180000\r\n",
         {u"03-28 19:00-19:00"_s}},
        {"less than nothing", evening + "DURATION:-PT1H\r\n", {u"03-28 19:00-19:00"_s}},
        {"periods of their own",
         evening + "DURATION:PT1H\r\nRDATE;VALUE=PERIOD:20260310T080000Z/20260310T083000Z,20260311T080000Z/"
                   "PT3H\r\n",
         {u"03-10 09:00-09:30"_s, u"03-11 09:00-12:00"_s, u"03-28 19:00-20:00"_s}},
        {"a day that is added to a time",
         evening + "DURATION:PT1H\r\nRDATE;VALUE=DATE:20260312\r\n",
         {u"03-12 19:00-20:00"_s, u"03-28 19:00-20:00"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(occurrences({row.lines}), row.occurrences) << row.name;
    }
    const QByteArray marked =
        "\xEF\xBB\xBF" + test::calendarFile(test::vevents(u"one"_s, {evening + "DURATION:P1D\r\n"}));
    EXPECT_EQ(occurrences(IcalFile::read(marked, {})), rows[0].occurrences) << "a mark before the text";
}

TEST_F(IcalFileTest, whatFollowsAChangeChangesWithIt) {
    const QByteArray daily =
        "DTSTART;TZID=Europe/Berlin:20260327T090000\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY;COUNT=6\r\n";
    const QByteArray later =
        "RECURRENCE-ID;RANGE=THISANDFUTURE;TZID=Europe/Berlin:20260328T090000\r\n"
        "DTSTART;TZID=Europe/Berlin:20260328T110000\r\nDURATION:PT2H\r\n";
    struct Row {
        const char* name;
        QList<QByteArray> events;
        QStringList occurrences;
    };
    const Row rows[] = {
        {"until the end, by the clock",
         {daily, later},
         {u"03-27 09:00-10:00"_s, u"03-28 11:00-13:00"_s, u"03-29 11:00-13:00"_s, u"03-30 11:00-13:00"_s,
          u"03-31 11:00-13:00"_s, u"04-01 11:00-13:00"_s}},
        {"until the next change, but for single ones",
         {daily,
          "RECURRENCE-ID;RANGE=THISANDFUTURE:20260331T070000Z\r\nDTSTART;TZID=Europe/"
          "Berlin:20260401T080000\r\n"
          "DURATION:PT30M\r\nSUMMARY:new\r\n",
          later, "RECURRENCE-ID:20260330T070000Z\r\nDTSTART:20260330T180000Z\r\nDURATION:PT1H\r\n"},
         {u"03-27 09:00-10:00"_s, u"03-28 11:00-13:00"_s, u"03-29 11:00-13:00"_s, u"03-30 20:00-21:00"_s,
          u"04-01 08:00-08:30"_s, u"04-02 08:00-08:30"_s}},
        {"called off from then on",
         {daily, later + "STATUS:CANCELLED\r\n"},
         {u"03-27 09:00-10:00"_s, u"03-28 11:00-13:00 off"_s, u"03-29 11:00-13:00 off"_s,
          u"03-30 11:00-13:00 off"_s, u"03-31 11:00-13:00 off"_s, u"04-01 11:00-13:00 off"_s}},
        {"but not further than a year",
         {daily,
          "RECURRENCE-ID;RANGE=THISANDFUTURE;TZID=Europe/Berlin:20260328T090000\r\n"
          "DTSTART;TZID=Europe/Berlin:20290328T110000\r\n"},
         {u"03-27 09:00-10:00"_s, u"03-29 09:00-10:00"_s, u"03-30 09:00-10:00"_s, u"03-31 09:00-10:00"_s,
          u"04-01 09:00-10:00"_s}},
        {"days that move to other days",
         {"DTSTART;VALUE=DATE:20260302\r\nRRULE:FREQ=WEEKLY;COUNT=3\r\n",
          "RECURRENCE-ID;VALUE=DATE;RANGE=THISANDFUTURE:20260309\r\nDTSTART;VALUE=DATE:20260310\r\n"
          "DTEND;VALUE=DATE:20260312\r\n"},
         {u"03-02 00:00-03-03 00:00"_s, u"03-10 00:00-03-12 00:00"_s, u"03-17 00:00-03-19 00:00"_s}},
        {"a day of days, named by its midnight",
         {"DTSTART;VALUE=DATE:20260302\r\nRRULE:FREQ=WEEKLY;COUNT=2\r\n",
          "RECURRENCE-ID:20260309T000000Z\r\nDTSTART;VALUE=DATE:20260310\r\n"},
         {u"03-02 00:00-03-03 00:00"_s, u"03-10 00:00-03-11 00:00"_s}},
        {"the only one of a rule that can't be followed",
         {"DTSTART:20260302T090000\r\nRRULE:FREQ=SECONDLY\r\n",
          "RECURRENCE-ID:20260302T090000\r\nDTSTART:20260302T100000\r\n"},
         {u"03-02 10:00-10:00"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(occurrences(row.events), row.occurrences) << row.name;
    }
}

TEST_F(IcalFileTest, followsRulesByTheHour) {
    struct Row {
        QByteArray rule;
        QStringList occurrences;
    };
    const Row rows[] = {
        {"FREQ=HOURLY;BYHOUR=9,17;BYDAY=SA,SU;UNTIL=20260329T220000Z",
         {u"03-27 09:30-09:30"_s, u"03-28 09:30-09:30"_s, u"03-28 17:30-17:30"_s, u"03-29 09:30-09:30"_s,
          u"03-29 17:30-17:30"_s}},
        {"FREQ=HOURLY;INTERVAL=6;COUNT=3",
         {u"03-27 09:30-09:30"_s, u"03-27 15:30-15:30"_s, u"03-27 21:30-21:30"_s}},
        {"FREQ=MINUTELY;INTERVAL=45;BYHOUR=9,10;COUNT=3",
         {u"03-27 09:30-09:30"_s, u"03-27 10:15-10:15"_s, u"03-28 09:30-09:30"_s}},
        {"FREQ=HOURLY;BYMONTHDAY=-1;BYMINUTE=30,45;BYHOUR=8",
         {u"03-27 09:30-09:30"_s, u"03-31 08:30-08:30"_s, u"03-31 08:45-08:45"_s, u"04-30 08:30-08:30"_s,
          u"04-30 08:45-08:45"_s}},
        {"FREQ=SECONDLY;BYSECOND=0;BYMINUTE=0;BYHOUR=12;BYYEARDAY=100",
         {u"03-27 09:30-09:30"_s, u"04-10 12:00-12:00"_s}},
        {"FREQ=WEEKLY;BYDAY=MO,WE,FR;BYSETPOS=-1;COUNT=2", {u"03-27 09:30-09:30"_s, u"04-03 09:30-09:30"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(occurrences({"DTSTART;TZID=Europe/Berlin:20260327T093000\r\nRRULE:" + row.rule + "\r\n"}),
                  row.occurrences)
            << row.rule.constData();
    }
}

TEST_F(IcalFileTest, namesTheFilesOfWhichSomethingIsMissing) {
    const test::ScratchFolder folder;
    const auto put = [&](const char* name, const QByteArray& components) {
        folder.write(u"calendars/office/"_s + QString::fromLatin1(name) + u".ics"_s,
                     test::calendarFile(components));
    };
    const QByteArray begin = "BEGIN:VEVENT\r\nUID:one\r\nSUMMARY:one\r\nDTSTART:20260302T090000\r\n";
    QByteArray attached = "ATTACH;ENCODING=BASE64;VALUE=BINARY:";
    attached += QByteArray("QUJD\r\n BEGIN:VEVENT\r\n ").repeated(150'000) + "QUJD\r\n";
    put("good", begin + "END:VEVENT\r\n");
    put("attached", begin + attached + "LOCATION:Ro\r\n om\r\nEND:VEVENT\r\n");
    put("crowded", (begin + "END:VEVENT\r\n").repeated(25'000));
    put("wordy", begin + "DESCRIPTION:" + QByteArray(5 << 20, 'x') + "\r\nEND:VEVENT\r\n");
    put("restless", begin + "RRULE:FREQ=SECONDLY\r\nEND:VEVENT\r\n");
    put("odd", begin + "RRULE:FREQ=FORTNIGHTLY\r\nEND:VEVENT\r\n");
    put("zero", begin + QByteArray("X:\0", 3) + "\r\nEND:VEVENT\r\n");
    folder.write(u"calendars/office/huge.ics"_s, {});
    QFile(folder.path(u"calendars/office/huge.ics"_s)).resize(qint64(200) << 20);
    VdirFiles files;
    QElapsedTimer timer;
    timer.start();
    const auto events = files.events(folder.path(u"calendars"_s), {}, at(3, 1), at(4, 1));
    EXPECT_LT(timer.elapsed(), 20'000);
    EXPECT_EQ(events.size(), 4);
    EXPECT_TRUE(
        std::ranges::any_of(events, [](const CalendarEvent& each) { return each.location == u"Room"; }));
    QStringList named;
    for (const QString& sentence : files.leftOut()) {
        named.append(sentence.section(u".ics "_s, 0, 0).section(u'/', -1) + u": "_s +
                     sentence.section(u".ics "_s, 1).section(u' ', 0, 0));
    }
    EXPECT_EQ(named, (QStringList{u"crowded: holds"_s, u"huge: holds"_s, u"odd: repeats"_s,
                                  u"restless: repeats"_s, u"wordy: holds"_s, u"zero: is"_s}));
    // The next look, which reads them anew as they are young, and a file that is in order again.
    put("wordy", begin + "END:VEVENT\r\n");
    EXPECT_EQ(files.events(folder.path(u"calendars"_s), {}, at(3, 1), at(4, 1)).size(), 5);
    EXPECT_EQ(files.leftOut().size(), 5);
}

TEST_F(IcalFileTest, namesWhatIsBrokenOnceItMayNotGrow) {
    const test::ScratchFolder folder;
    const QByteArray event = "BEGIN:VEVENT\r\nUID:one\r\nSUMMARY:one\r\nDTSTART:20260302T090000\r\n";
    const QByteArray whole = test::calendarFile(event + "END:VEVENT\r\n");
    const std::pair<const char*, QByteArray> broken[] = {
        {"cr", QByteArray(whole).replace("\r\n", "\r")},
        {"empty", {}},
        {"half", "BEGIN:VCALENDAR\r\n" + event + "END:VEVENT\r\n" + event + "SUMMARY:ha"},
        {"page", "<!DOCTYPE html>\n<html><head><title>Sign in</title></head></html>\n"}};
    const auto put = [&](const QString& name, const QByteArray& bytes, int age) {
        folder.write(u"calendars/office/"_s + name + u".ics"_s, bytes);
        QFile file(folder.path(u"calendars/office/"_s + name + u".ics"_s));
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(QDateTime::currentDateTime().addSecs(-age), QFileDevice::FileModificationTime);
    };
    put(u"journal"_s, "BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n", 60);
    for (const auto& [name, bytes] : broken) {
        put(QString::fromLatin1(name), bytes, 60);
        put(u"young-"_s + QString::fromLatin1(name), bytes, 0);
    }
    VdirFiles files;
    EXPECT_EQ(files.events(folder.path(u"calendars"_s), {}, at(3, 1), at(4, 1)).size(), 2);
    QStringList named;
    for (const QString& sentence : files.leftOut()) {
        named.append(sentence.section(u'/', -1).section(u' ', 0, 1));
    }
    EXPECT_EQ(named, (QStringList{u"cr.ics is"_s, u"empty.ics is"_s, u"half.ics breaks"_s, u"page.ics is"_s,
                                  u"young-cr.ics is"_s}));
}

TEST_F(IcalFileTest, manyEventsOfOneNameTakeLittleTime) {
    const QByteArray daily = "DTSTART:20260301T090000\r\nRRULE:FREQ=DAILY\r\n";
    QList<QByteArray> events(3000, daily);
    for (int i = 0; i < 3000; ++i) {
        const QByteArray time =
            QDateTime({2026, 3, 2}, {9, 0}).addSecs(60 * i).toString(u"yyyyMMddTHHmmss"_s).toLatin1();
        events.append("RECURRENCE-ID;RANGE=THISANDFUTURE:" + time + "\r\nDTSTART:20260302T100000\r\n");
    }
    QElapsedTimer timer;
    timer.start();
    const IcalFile file = IcalFile::read(test::calendarFile(test::vevents(u"one"_s, events)), {});
    EXPECT_LT(timer.elapsed(), 10'000);
    EXPECT_TRUE(file.lacksChanges());
    const QByteArray rules = QByteArray("RRULE:FREQ=DAILY\r\n").repeated(20'000);
    const QByteArray split = QByteArray("RRU\r\n LE:FREQ=DAILY\r\n").repeated(20'000);
    for (const QByteArray& lines : {rules, split, QByteArray("X:\n").repeated(300'000)}) {
        const QByteArray text = test::calendarFile(test::vevents(u"one"_s, {daily + lines}));
        EXPECT_EQ(IcalFile::read(text, {}).fault(), IcalFile::Fault::tooMuch) << lines.first(8).constData();
    }
}

TEST_F(IcalFileTest, ofTimesThatClocksShowTwiceTheFirstIsMeant) {
    const auto found = [](const QByteArray& lines) {
        std::vector<IcalOccurrence> all;
        IcalBudget budget = IcalBudget::forReading();
        const IcalFile file = IcalFile::read(test::calendarFile(test::vevents(u"one"_s, {lines})), {});
        file.addOccurrences(at(10, 25), at(10, 26), budget, all);
        QStringList times;
        for (const IcalOccurrence& each : all) {
            times.append(QDateTime::fromSecsSinceEpoch(each.start, Qt::UTC).toString(u"dd HH:mm"_s));
        }
        return times;
    };
    for (const QByteArray zone : {"", ";TZID=Europe/Berlin", ";TZID=Europe/Paris"}) {
        const QByteArray daily = "DTSTART" + zone + ":20261001T023000\r\nRRULE:FREQ=DAILY\r\n";
        EXPECT_EQ(found(daily), QStringList{u"25 00:30"_s}) << zone.constData();
        EXPECT_EQ(found(daily + "EXDATE:20261025T003000Z\r\n"), QStringList()) << zone.constData();
        EXPECT_EQ(found("DTSTART" + zone + ":20261025T033000\r\n"), QStringList{u"25 02:30"_s});
        EXPECT_EQ(found("DTSTART" + zone + ":20261025T013000\r\n"), QStringList{u"24 23:30"_s});
    }
}

}  // namespace
