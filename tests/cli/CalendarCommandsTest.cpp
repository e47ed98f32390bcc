#include "LumbroCore/Dates.h"
#include "tests/cli/CommandLine.h"
#include "tests/support/Khal.h"

#include <QSet>
#include <QTimeZone>

#include <memory>
#include <vector>

#include <gtest/gtest.h>

using namespace lumbro;
using test::CommandLine;

namespace {

/// A user in Berlin without a desktop, on the morning of Friday, March 27, 2026: on Sunday the clocks change.
struct CalendarCommands : testing::Test {
    CalendarCommands() {
        lumbro.set(u"TZ"_s, u"Europe/Berlin"_s);
        lumbro.set(u"LUMBRO_NOW"_s, u"2026-03-27T07:10:00"_s);
        lumbro.set(u"DISPLAY"_s, {});
        lumbro.set(u"WAYLAND_DISPLAY"_s, {});
        lumbro.home().write(u"text.md"_s,
                            "- [ ] Me — send deck (due 2026-03-31)\n- [ ] Dana: review (Friday)\n"
                            "- [x] Me — done\n");
        lumbro.home().write(u"event.md"_s,
                            "**Event:** Budget; round 2\n**When:** 2026-03-30 10:00\n"
                            "**Length:** 1.5 hours\n**With:** Dana Kim <dana@example.org>\n");
    }

    /// The command with a file of the home as its standard input.
    test::Finished run(const QStringList& arguments, const QString& input) const {
        QProcess process;
        process.setProcessEnvironment(lumbro.environment());
        process.setStandardInputFile(lumbro.home().path(input));
        process.start(CommandLine::program(), arguments);
        process.waitForFinished(-1);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
    QString calendars() const { return lumbro.home().path(u".calendars"_s); }
    void putEvent(const QString& name, const QByteArray& lines) const {
        lumbro.home().write(u".calendars/office/%1.ics"_s.arg(name),
                            "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//made//EN\r\nBEGIN:VEVENT\r\n"
                            "DTSTAMP:20260101T000000Z\r\nUID:" +
                                name.toUtf8() + "\r\nSUMMARY:" + name.toUtf8() + "\r\n" + lines +
                                "END:VEVENT\r\nEND:VCALENDAR\r\n");
    }
    void answer(const QByteArray& text, const QByteArray& action) const {
        lumbro.home().write(u"Quillet/asks/2026-03-26-1000-budget.md"_s,
                            "# Budget\n\n### Me · 2026-03-26T09:00:00Z\nBook it\n### Lumbro\n" + text +
                                "\nACTION: " + action + "\nSOURCES: people/dana-kim.md\n");
        lumbro.home().write(u"Quillet/memory/people/dana-kim.md"_s,
                            "---\nname: Dana Kim\nemail: dana@example.org\n---\n# Dana Kim\n");
    }

    CommandLine lumbro;
};

TEST_F(CalendarCommands, tasksOpenInTodoman) {
    EXPECT_EQ(run({u"tasks"_s, u"add"_s, u"--from"_s, u"-"_s}, u"text.md"_s).status, 1);
    EXPECT_FALSE(lumbro.home().has(u".calendars"_s));
    const auto dry = run({u"tasks"_s, u"add"_s, u"--from=-"_s, u"--dry-run"_s, u"--json"_s}, u"text.md"_s);
    const QJsonArray drafts = dry.object()[u"items"_s].toArray();
    ASSERT_EQ(drafts.size(), 2);
    EXPECT_EQ(drafts[1].toObject()[u"due"_s].toString(), u"2026-04-03");
    EXPECT_FALSE(drafts[1].toObject()[u"include"_s].toBool());
    const auto mine = run({u"tasks"_s, u"add"_s, u"--from=-"_s, u"--yes"_s, u"--json"_s}, u"text.md"_s);
    EXPECT_EQ(mine.object()[u"added"_s].toInt(), 1);
    EXPECT_TRUE(QFile::exists(mine.object()[u"items"_s].toArray()[0].toObject()[u"path"_s].toString()));
    const auto all = run({u"tasks"_s, u"add"_s, u"--from=-"_s, u"--yes"_s, u"--all"_s}, u"text.md"_s);
    EXPECT_EQ(all.output, u"Added 1 task to \"Lumbro\".\n");
    EXPECT_EQ(all.errors, u"1 task stood there already.\n");
    if (!test::Khal::hasTodoman()) {
        GTEST_SKIP() << "todoman is not installed";
    }
    EXPECT_EQ(test::Khal(calendars(), lumbro.home().path(u"other"_s)).tasks(),
              (QStringList{u"Lumbro|2026-03-31|send deck"_s, u"Lumbro|2026-04-03|review"_s}));
}

TEST_F(CalendarCommands, inputThatComesInPiecesIsReadToItsEnd) {
    QProcess process;
    process.setProcessEnvironment(lumbro.environment());
    process.start(CommandLine::program(), {u"tasks"_s, u"add"_s, u"--from=-"_s, u"--dry-run"_s, u"--json"_s});
    process.write("- [ ] Me — first\n");
    process.waitForBytesWritten(-1);
    process.write(QByteArray("talk\n").repeated(60'000) + "- [ ] Me — last\n");
    process.closeWriteChannel();
    process.waitForFinished(-1);
    EXPECT_EQ(json::object(process.readAllStandardOutput())[u"items"_s].toArray().size(), 2);
}

TEST_F(CalendarCommands, anEventOpensInKhalAndIsAddedOnce) {
    putEvent(u"other"_s, "DTSTART;TZID=Europe/Berlin:20260330T110000\r\nDURATION:PT1H\r\n");
    EXPECT_EQ(run({u"event"_s, u"add"_s, u"--from"_s, u"-"_s}, u"event.md"_s).status, 1);
    const auto added = run({u"event"_s, u"add"_s, u"--from"_s, u"-"_s, u"-y"_s, u"--json"_s}, u"event.md"_s);
    EXPECT_EQ(added.object()[u"result"_s].toString(), u"added");
    EXPECT_EQ(added.object()[u"clashes"_s].toArray(), QJsonArray{u"other"_s});
    const auto again = run({u"event"_s, u"add"_s, u"--from"_s, u"-"_s, u"-y"_s, u"--json"_s}, u"event.md"_s);
    EXPECT_EQ(again.object()[u"result"_s].toString(), u"exists");
    EXPECT_EQ(again.object()[u"id"_s], added.object()[u"id"_s]);
    EXPECT_EQ(again.object()[u"path"_s], added.object()[u"path"_s]);
    if (!test::Khal::hasKhal()) {
        GTEST_SKIP() << "khal is not installed";
    }
    const test::Khal khal(calendars(), lumbro.home().path(u"other"_s));
    EXPECT_EQ(khal.events(QDate(2026, 3, 30), QDate(2026, 3, 31)),
              (QStringList{u"2026-03-30 10:00|2026-03-30 11:30|Budget; round 2"_s,
                           u"2026-03-30 11:00|2026-03-30 12:00|other"_s}));
}

TEST_F(CalendarCommands, theAgendaHoldsWhatKhalLists) {
    if (!test::Khal::hasKhal()) {
        GTEST_SKIP() << "khal is not installed";
    }
    putEvent(u"weekly"_s,
             "DTSTART;TZID=Europe/Berlin:20260105T093000\r\nDURATION:PT45M\r\n"
             "RRULE:FREQ=WEEKLY;BYDAY=SA,SU,MO\r\nEXDATE;TZID=Europe/Berlin:20260330T093000\r\n");
    putEvent(u"overseas"_s,
             "DTSTART;TZID=America/New_York:20260302T090000\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY\r\n");
    putEvent(u"universal"_s, "DTSTART:20260301T020000Z\r\nDURATION:PT70M\r\nRRULE:FREQ=DAILY\r\n");
    putEvent(u"night"_s,
             "DTSTART;TZID=Europe/Berlin:20260301T223000\r\nDURATION:PT4H\r\nRRULE:FREQ=DAILY\r\n");
    putEvent(u"days"_s, "DTSTART;VALUE=DATE:20260301\r\nRRULE:FREQ=DAILY\r\n");
    const test::Khal khal(calendars(), lumbro.home().path(u"other"_s));
    const QTimeZone berlin("Europe/Berlin");
    const QString form = u"yyyy-MM-dd HH:mm"_s;
    // The clocks change on March 29 and October 25 here, on March 8 and November 1 in New York.
    for (const QDate& day : {QDate(2026, 3, 7), QDate(2026, 3, 28), QDate(2026, 3, 29), QDate(2026, 10, 24),
                             QDate(2026, 10, 25), QDate(2026, 10, 31)}) {
        for (const QTime& time : {QTime(1, 30), QTime(12, 5)}) {
            const QDateTime now(day, time, berlin);
            QStringList expected;
            for (const QString& line : khal.events(day.addDays(-1), day.addDays(2))) {
                const auto at = [&](int part) {
                    QDateTime moment = QDateTime::fromString(line.section(u'|', part, part), form);
                    moment.setTimeZone(berlin);
                    return moment;
                };
                if (at(0).isValid() && at(1) > now.addSecs(-4 * 3600)) {
                    expected += line;
                }
            }
            lumbro.set(u"LUMBRO_NOW"_s, now.toString(u"yyyy-MM-ddTHH:mm:ss"_s));
            QStringList found;
            for (const auto& each : lumbro.run({u"agenda"_s, u"--json"_s}).array()) {
                const auto at = [&](const QString& key) {
                    const auto moment = QDateTime::fromString(each.toObject()[key].toString(), Qt::ISODate);
                    return moment.toTimeZone(berlin).toString(form);
                };
                found += at(u"start"_s) + u'|' + at(u"end"_s) + u'|' + each.toObject()[u"title"_s].toString();
            }
            found.sort();
            EXPECT_GE(found.size(), 5);
            EXPECT_EQ(found, expected) << qPrintable(now.toString(Qt::ISODate));
        }
    }
}

TEST_F(CalendarCommands, freeTimesStandBetweenWhatKhalLists) {
    if (!test::Khal::hasKhal()) {
        GTEST_SKIP() << "khal is not installed";
    }
    putEvent(u"weekly"_s,
             "DTSTART;TZID=Europe/Berlin:20260105T093000\r\nDURATION:PT45M\r\n"
             "RRULE:FREQ=WEEKLY;BYDAY=MO,WE,FR\r\nEXDATE;TZID=Europe/Berlin:20260401T093000\r\n");
    putEvent(u"overseas"_s,
             "DTSTART;TZID=America/New_York:20260302T090000\r\nDURATION:PT1H\r\n"
             "RRULE:FREQ=DAILY\r\n");
    putEvent(u"universal"_s, "DTSTART:20260327T100000Z\r\nDURATION:PT70M\r\nRRULE:FREQ=DAILY\r\n");
    putEvent(u"days"_s, "DTSTART;VALUE=DATE:20260331\r\n");
    // From 9:00 to 17:00 by minutes.
    QMap<QDate, QList<bool>> isBusy;
    for (const QDate& day :
         {QDate(2026, 3, 27), QDate(2026, 3, 30), QDate(2026, 3, 31), QDate(2026, 4, 1), QDate(2026, 4, 2)}) {
        isBusy[day] = QList<bool>(480, false);
    }
    const test::Khal khal(calendars(), lumbro.home().path(u"other"_s));
    for (const QString& line : khal.events(QDate(2026, 3, 27), QDate(2026, 4, 3))) {
        const QString form = u"yyyy-MM-dd HH:mm"_s;
        const auto start = QDateTime::fromString(line.section(u'|', 0, 0), form);
        const auto end = QDateTime::fromString(line.section(u'|', 1, 1), form);
        for (QDateTime minute = start; minute.isValid() && minute < end; minute = minute.addSecs(60)) {
            const int at = minute.time().hour() * 60 + minute.time().minute() - 540;
            if (isBusy.contains(minute.date()) && at >= 0 && at < 480) {
                isBusy[minute.date()][at] = true;
            }
        }
    }
    QStringList expected;
    for (const auto& [day, busy] : isBusy.asKeyValueRange()) {
        for (qsizetype from = busy.indexOf(false); from >= 0;) {
            const qsizetype next = busy.indexOf(true, from);
            const qsizetype to = next < 0 ? 480 : next;
            if (to - from >= 30) {
                expected += dates::iso(QDateTime(day, QTime(9, 0)).addSecs(from * 60)) + u'|' +
                            dates::iso(QDateTime(day, QTime(9, 0)).addSecs(to * 60));
            }
            from = next < 0 ? -1 : busy.indexOf(false, next);
        }
    }
    QStringList found;
    const QJsonObject json = lumbro.run({u"free-times"_s, u"--json"_s}).object();
    for (const auto& each : json[u"intervals"_s].toArray()) {
        found += each.toObject()[u"start"_s].toString() + u'|' + each.toObject()[u"end"_s].toString();
    }
    EXPECT_GT(found.size(), 8);
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(json[u"context"_s].toString().contains(
        u"\n- 2026-03-30 Mon: 09:00–09:30, 10:15–12:00, 13:10–15:00, 16:00–17:00\n"));
}

TEST_F(CalendarCommands, anAnswerBecomesWhatItWasPreparedFor) {
    answer("**Event:** Call\n**When:** 2026-03-30 09:00\n**With:** Dana Kim <dana@example.org>", "calendar");
    const auto invitation = lumbro.run(
        {u"mail"_s, u"draft"_s, u"--from"_s, u"ask:last"_s, u"--invite"_s, u"--dry-run"_s, u"--json"_s});
    EXPECT_EQ(invitation.object()[u"to"_s].toArray(), QJsonArray{u"dana@example.org"_s});
    EXPECT_TRUE(invitation.object()[u"body"_s].toString().startsWith(
        u"Hi Dana,\n\nDoes Monday, March 30 at 9:00 AM"));
    const auto event =
        lumbro.run({u"event"_s, u"add"_s, u"--from"_s, u"ask:2026-03-26"_s, u"--yes"_s, u"--json"_s});
    const QByteArray file = readFile(event.object()[u"path"_s].toString()).value_or(QByteArray());
    EXPECT_TRUE(
        file.contains("DESCRIPTION:With: Dana Kim <dana@example.org>\\nBooked by Lumbro: Book it\r\n"));
    answer("- [ ] Me — call Dana (due Monday)", "reminders");
    const auto task = lumbro.run({u"tasks"_s, u"add"_s, u"--from"_s, u"ask:last"_s, u"--yes"_s, u"--json"_s});
    ASSERT_EQ(task.status, 0) << task.errors.toStdString();
    const QJsonObject item = task.object()[u"items"_s].toArray()[0].toObject();
    EXPECT_EQ(item[u"due"_s].toString(), u"2026-03-30");
    EXPECT_TRUE(readFile(item[u"path"_s].toString())->contains("DESCRIPTION:From Ask Lumbro: Book it\r\n"));
}

TEST_F(CalendarCommands, aMailOpensInTheDesktopsProgram) {
    answer("**Subject:** Numbers & facts\n\nDear Dana,\n100 % of them.", "mail");
    const QStringList command{u"mail"_s, u"draft"_s, u"--from"_s, u"ask:last"_s, u"--json"_s};
    const auto without = lumbro.run(command);
    EXPECT_EQ(without.status, 1);
    EXPECT_EQ(without.object()[u"opened"_s], QJsonValue(false));
    EXPECT_EQ(without.object()[u"to"_s].toArray(), QJsonArray{u"dana@example.org"_s});
    const QString opener = lumbro.home().path(u"bin/xdg-email"_s);
    lumbro.home().write(u"bin/xdg-email"_s, "#!/bin/sh\nprintf '%s' \"$1\" > \"$HOME/opened\"\n");
    QFile::setPermissions(opener, QFile::ReadOwner | QFile::ExeOwner);
    lumbro.set(u"PATH"_s, lumbro.home().path(u"bin"_s) + u':' + qEnvironmentVariable("PATH"));
    lumbro.set(u"DISPLAY"_s, u":99"_s);
    const auto with = lumbro.run(command);
    EXPECT_EQ(with.status, 0);
    EXPECT_EQ(with.object()[u"opened"_s], QJsonValue(true));
    EXPECT_EQ(lumbro.home().read(u"opened"_s),
              "mailto:dana@example.org?subject=Numbers%20%26%20facts&body="
              "Dear%20Dana%2C%0D%0A100%20%25%20of%20them.");
    // An argument may have at most 128 KiB.
    answer("**Subject:** Long\n\n" + QByteArray("ü word ").repeated(40'000), "mail");
    EXPECT_EQ(lumbro.run(command).status, 0);
    EXPECT_GT(lumbro.home().read(u"opened"_s).size(), 100 * 1024);
}

TEST_F(CalendarCommands, aCapturesResultsAndNotesAreLookedThrough) {
    lumbro.addCapture(u"2026-03-26-1000-meeting"_s, "Sync", "2026-03-26T09:00:00Z");
    lumbro.write(u"2026-03-26-1000-meeting"_s, u"notes.md"_s, "- [ ] mine (due tomorrow)\n");
    lumbro.write(u"2026-03-26-1000-meeting"_s, u"handoffs/followup.md"_s, "**Subject:** After\n\nDear all\n");
    const auto tasks =
        lumbro.run({u"tasks"_s, u"add"_s, u"--from"_s, u"capture:last"_s, u"--yes"_s, u"--json"_s}).object();
    const QJsonObject item = tasks[u"items"_s].toArray()[0].toObject();
    EXPECT_EQ(item[u"due"_s].toString(), u"2026-03-27");
    EXPECT_TRUE(readFile(item[u"path"_s].toString())
                    ->contains("DESCRIPTION:From Lumbro: Sync\\, Mar 26\\, 2026\r\n"));
    const auto mail =
        lumbro.run({u"mail"_s, u"draft"_s, u"--from=capture:last"_s, u"--dry-run"_s, u"--json"_s});
    EXPECT_EQ(mail.object()[u"subject"_s].toString(), u"After");
    EXPECT_EQ(lumbro.run({u"event"_s, u"add"_s, u"--from=capture:last"_s, u"--yes"_s}).status, 1);
}

TEST_F(CalendarCommands, aNewEventGoesToTheCalendarThatTheUserNames) {
    for (const QString& name : {u"birthdays"_s, u"office"_s}) {
        lumbro.home().write(u".calendars/%1/displayname"_s.arg(name), name.toUtf8());
    }
    const QStringList set{u"settings"_s, u"set"_s, u"calendarDefault"_s};
    const auto wrong = lumbro.run(set + QStringList{u"Ofice"_s});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_TRUE(wrong.errors.contains(u"(there are: birthdays, office)"_s)) << qPrintable(wrong.errors);
    EXPECT_EQ(lumbro.run(set + QStringList{u"office"_s}).status, 0);
    const QStringList add{u"event"_s, u"add"_s, u"--from=-"_s};
    EXPECT_EQ(
        run(add + QStringList{u"--dry-run"_s, u"--json"_s}, u"event.md"_s).object()[u"calendar"_s].toString(),
        u"office");
    EXPECT_EQ(run(add + QStringList{u"--yes"_s}, u"event.md"_s).output, u"Added to \"office\".\n");
    ASSERT_TRUE(QDir(calendars() + u"/office"_s).removeRecursively());
    lumbro.home().write(u"event.md"_s, "Event: Other\nWhen: 2026-03-31 10:00\n");
    const auto gone = run(add + QStringList{u"--yes"_s}, u"event.md"_s);
    EXPECT_EQ(gone.status, 1);
    EXPECT_TRUE(gone.errors.contains(u"The calendar \"office\" for new events isn't there"_s));
    EXPECT_EQ(QDir(calendars() + u"/birthdays"_s).entryList(QDir::Files), QStringList{u"displayname"_s});
}

TEST_F(CalendarCommands, whatCannotBeMeantIsNotAdded) {
    const std::pair<QByteArray, QString> rows[] = {
        {"Event: Call\nWhen: 9999-12-31 23:50\n", u"The year 9999 can't be meant"_s},
        {"Event: Call\nWhen: 2026-03-30 10:00\nLength: 0\n", u"An event of no length can't be meant"_s},
    };
    for (const auto& [text, sentence] : rows) {
        lumbro.home().write(u"odd.md"_s, text);
        for (const QString& option : {u"--yes"_s, u"--dry-run"_s}) {
            const auto odd = run({u"event"_s, u"add"_s, u"--from=-"_s, option}, u"odd.md"_s);
            EXPECT_EQ(odd.status, 1);
            EXPECT_TRUE(odd.errors.contains(sentence)) << qPrintable(odd.errors);
        }
    }
    lumbro.home().write(u"odd.md"_s, "- [ ] Me — (tomorrow)\n");
    EXPECT_TRUE(run({u"tasks"_s, u"add"_s, u"--from=-"_s, u"--yes"_s}, u"odd.md"_s)
                    .errors.contains(u"Lumbro couldn't find a task in that."));
    EXPECT_FALSE(lumbro.home().has(u".calendars"_s));
    lumbro.home().write(u"odd.md"_s, "- [ ] Me — (tomorrow)\n- [ ] call\n");
    const auto some = run({u"tasks"_s, u"add"_s, u"--from=-"_s, u"--yes"_s}, u"odd.md"_s);
    EXPECT_EQ(some.output, u"Added 1 task to \"Lumbro\".\n");
    EXPECT_EQ(some.errors, u"1 line without a task is left out.\n");
    lumbro.home().write(u"odd.md"_s, "Event: Call\nWhen: 2027-03-30 10:00\nLength: 1\n");
    EXPECT_TRUE(run({u"event"_s, u"add"_s, u"--from=-"_s, u"--yes"_s}, u"odd.md"_s)
                    .errors.startsWith(u"It takes only a minute. It is in 2027.\n"));
}

TEST_F(CalendarCommands, theSameEventFromSeveralProcessesAtOnceIsThereOnce) {
    lumbro.home().write(u".calendars/office/displayname"_s, "Work");
    std::vector<std::unique_ptr<QProcess>> all;
    for (int i = 0; i < 6; ++i) {
        const auto& process = all.emplace_back(std::make_unique<QProcess>());
        process->setProcessEnvironment(lumbro.environment());
        process->setStandardInputFile(lumbro.home().path(i % 2 == 0 ? u"event.md"_s : u"text.md"_s));
        process->start(CommandLine::program(), {i % 2 == 0 ? u"event"_s : u"tasks"_s, u"add"_s, u"--from=-"_s,
                                                u"--yes"_s, u"--json"_s});
    }
    QStringList results;
    for (const auto& process : all) {
        process->waitForFinished(-1);
        EXPECT_EQ(process->exitCode(), 0);
        results += json::object(process->readAllStandardOutput())[u"result"_s].toString();
    }
    EXPECT_EQ(results.count(u"added"_s), 1);
    EXPECT_EQ(results.count(u"exists"_s), 2);
    EXPECT_EQ(QDir(calendars() + u"/office"_s).entryList({u"*.ics"_s}).size(), 1);
    EXPECT_EQ(QDir(calendars() + u"/lumbro"_s).entryList({u"*.ics"_s}).size(), 1);
}

TEST_F(CalendarCommands, filesThatAreLeftOutAreNamed) {
    putEvent(u"good"_s, "DTSTART:20260327T090000\r\n");
    putEvent(u"restless"_s, "DTSTART:20260327T100000\r\nRRULE:FREQ=SECONDLY\r\n");
    const QString huge = calendars() + u"/office/huge.ics"_s;
    lumbro.home().write(u".calendars/office/huge.ics"_s, {});
    QFile(huge).resize(qint64(100) << 20);
    const auto agenda = lumbro.run({u"agenda"_s, u"--json"_s});
    EXPECT_EQ(agenda.array().size(), 2);
    for (const auto& told : {agenda, lumbro.run({u"free-times"_s})}) {
        EXPECT_EQ(told.status, 0);
        EXPECT_TRUE(told.errors.contains(huge + u" holds more than"_s)) << told.errors.toStdString();
        EXPECT_TRUE(told.errors.contains(u"restless.ics repeats"_s));
        EXPECT_EQ(told.errors.count(u'\n'), 2);
    }
}

TEST_F(CalendarCommands, wrongUsageIsTold) {
    EXPECT_EQ(lumbro.run({u"tasks"_s, u"add"_s}).status, 2);
    EXPECT_EQ(lumbro.run({u"event"_s, u"add"_s, u"--from"_s, u"meeting"_s}).status, 2);
    EXPECT_EQ(lumbro.run({u"free-times"_s, u"--days"_s, u"0"_s}).status, 2);
    for (const QString& to : {u"Jane"_s, u"Jane <jane@x.org>, Bob"_s, u",,;"_s}) {
        const auto wrong = lumbro.run({u"mail"_s, u"draft"_s, u"--from"_s, u"-"_s, u"--to"_s, to});
        EXPECT_EQ(wrong.status, 2) << qPrintable(to);
        EXPECT_TRUE(wrong.errors.contains(u"--to"_s)) << qPrintable(wrong.errors);
    }
    const auto none = lumbro.run({u"free-times"_s});
    EXPECT_EQ(none.status, 0);
    EXPECT_TRUE(none.output.isEmpty());
    EXPECT_TRUE(none.errors.contains(u"calendarFolder"));
    EXPECT_FALSE(lumbro.home().has(u".calendars"_s));
}

}  // namespace
