#include "LumbroCore/AppLog.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "chats/SessionFolder.h"
#include "chats/SessionImporter.h"
#include "chats/formats/SessionLog.h"
#include "library/CaptureFiles.h"
#include "library/CaptureLock.h"
#include "library/CaptureRename.h"
#include "library/ContextLibrary.h"
#include "tests/support/Nobody.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>

#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

/// A moment of the test clock's day, in local time.
QDateTime at(int hour, int minute = 0, int daysBefore = 0) {
    return QDateTime(QDate(2026, 3, 2).addDays(-daysBefore), QTime(hour, minute));
}

QByteArray asked(const QString& id, const QDateTime& time, const QString& prompt,
                 const QString& folder = u"/home/me/work"_s) {
    const QJsonObject line{{u"type"_s, u"user"_s},
                           {u"uuid"_s, id},
                           {u"sessionId"_s, u"chat"_s},
                           {u"cwd"_s, folder},
                           {u"timestamp"_s, dates::iso(time)},
                           {u"message"_s, QJsonObject{{u"content"_s, prompt}}}};
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray answered(const QString& text) {
    return R"({"type":"assistant","message":{"content":[{"type":"text","text":")" + text.toUtf8() +
           "\"}]}}\n";
}

class SessionImporterTest : public testing::Test {
  protected:
    void SetUp() override { library.open(); }

    void write(const QByteArray& bytes) const { scratch.write(u"projects/p/chat.jsonl"_s, bytes); }
    /// A process of its own, as far as files go.
    SessionImporter importer() { return importer(library); }
    SessionImporter importer(ContextLibrary& place) {
        return {clock, settings, place,
                [this](CaptureRecord record) {
                    memorized.append(record.id());
                    return done();
                },
                scratch.path(u"projects"_s)};
    }
    static Task<> done() { co_return; }
    Result<SessionImporter::Report> import(std::optional<QDateTime> since = {}, bool memorize = false) {
        SessionImporter one = importer();
        return wait(one.importNow(true, since, memorize));
    }
    /// The prompts and replies of the only capture.
    QStringList texts(const QString& id = u"2026-03-02-0800-session"_s) const {
        QStringList result;
        const auto record = library.record(id);
        for (const SessionEntry& entry : record ? sessionFolder::entries(*record) : SessionEntries()) {
            result << entry.prompt << entry.reply;
        }
        return result;
    }
    QStringList ids() const {
        QStringList result;
        for (const CaptureRecord& record : library.captures()) {
            result.append(record.id());
        }
        return result;
    }

    ScratchFolder scratch;
    TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    ContextLibrary library{scratch.path(u"library"_s), clock};
    QStringList memorized;
};

}  // namespace

TEST_F(SessionImporterTest, aProjectsDayIsOneCapture) {
    write(asked(u"a"_s, at(8), u"first"_s) + answered(u"one"_s) + asked(u"b"_s, at(9), u"second"_s) +
          asked(u"c"_s, at(8, 30), u"elsewhere"_s, u"/home/me/other"_s) +
          "{\"type\":\"custom-title\",\"customTitle\":\"A chat\"}\n");
    const auto report = import();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->requests, 3);
    EXPECT_EQ(report->projectDays, 2);
    EXPECT_EQ(report->captures, (QStringList{u"2026-03-02-0800-session"_s, u"2026-03-02-0830-session"_s}));
    const CaptureRecord record = *library.record(u"2026-03-02-0800-session"_s);
    EXPECT_EQ(record.meta.title, u"Claude Code · work"_s);
    EXPECT_EQ(record.meta.kind, CaptureKind::session);
    EXPECT_EQ(record.meta.sessionKey, u"2026-03-02/work"_s);
    EXPECT_EQ(record.meta.startedAt, at(8));
    EXPECT_EQ(record.meta.endedAt, at(9, 1));
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u"one"_s, u"second"_s, u""_s}));
    EXPECT_EQ(scratch.read(u"library/captures/2026-03-02-0800-session/session.md"_s).toStdString(),
              "# Claude Code · work\n"
              "Folder: /home/me/work\n"
              "\n"
              "## A chat (Mar 2, 2026 at 8:00 AM · session chat)\n"
              "\n"
              "[8:00 AM] Me: first\n"
              "Claude: one\n"
              "\n"
              "[9:00 AM] Me: second\n");
}

TEST_F(SessionImporterTest, midnightDividesAChatAndTwoProjectsMayBeginTogether) {
    write(asked(u"a"_s, at(23, 59, 1), u"late"_s) + asked(u"b"_s, at(0, 1), u"early"_s) +
          asked(u"c"_s, at(0, 1), u"elsewhere"_s, u"/home/me/other"_s));
    const QStringList expected{u"2026-03-01-2359-session"_s, u"2026-03-02-0001-session"_s,
                               u"2026-03-02-0001-session-2"_s};
    EXPECT_EQ(import(at(12, 0, 1))->captures, expected);
    EXPECT_EQ(ids().size(), 3);
}

TEST_F(SessionImporterTest, importingAgainAddsOnlyWhatIsNew) {
    const QByteArray morning = asked(u"a"_s, at(8), u"first"_s) + answered(u"one"_s);
    write(morning);
    ASSERT_TRUE(import(at(0)));
    const QByteArray json =
        QFile::encodeName(scratch.path(u"library/captures/2026-03-02-0800-session/session.json"_s));
    struct stat before{};
    struct stat after{};
    ASSERT_EQ(stat(json.constData(), &before), 0);
    EXPECT_EQ(import(at(0))->requests, 1);
    ASSERT_EQ(stat(json.constData(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino) << "an unchanged log was written";
    write(morning + asked(u"b"_s, at(9, 5), u"second"_s));
    ASSERT_TRUE(import(at(0)));
    EXPECT_EQ(ids(), QStringList{u"2026-03-02-0800-session"_s});
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u"one"_s, u"second"_s, u""_s}));
    EXPECT_EQ(library.captures().first().meta.endedAt, at(9, 6));
}

TEST_F(SessionImporterTest, anAnswerThatComesAfterTheImportIsFiledWithItsRequest) {
    settings.set(u"claudeSessionsLastImport"_s, at(7));
    write(asked(u"a"_s, at(8), u"first"_s));
    ASSERT_TRUE(import());
    EXPECT_EQ(settings.value(u"claudeSessionsLastImport"_s).toDateTime(), at(9, 14).addSecs(5));
    // Older requests that were never filed stay so.
    write(asked(u"z"_s, at(7, 30), u"never filed"_s) + asked(u"a"_s, at(8), u"first"_s) +
          answered(u"late"_s));
    const auto report = import();
    EXPECT_EQ(report->requests, 0);
    EXPECT_EQ(report->captures, ids());
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u"late"_s}));
}

TEST_F(SessionImporterTest, theFirstImportReachesBackToThisMorningAndALaterOneToTheLast) {
    struct Row {
        std::optional<QDateTime> last;
        std::optional<QDateTime> since;
        QStringList prompts;
    };
    const Row rows[] = {
        {{}, {}, {u"this morning"_s, u"an hour ago"_s}},
        {at(8), {}, {u"an hour ago"_s}},
        {at(8, 0, -3650), {}, {u"this morning"_s, u"an hour ago"_s}},
        {at(8), at(20, 0, 2), {u"two days ago"_s, u"this morning"_s, u"an hour ago"_s}},
    };
    write(asked(u"a"_s, at(1, 0, 2), u"two days ago"_s) + asked(u"b"_s, at(0), u"this morning"_s) +
          asked(u"c"_s, at(8, 14), u"an hour ago"_s));
    for (const Row& row : rows) {
        settings.set(u"claudeSessionsLastImport"_s, row.last ? QVariant(*row.last) : QVariant());
        QDir(library.capturesFolder()).removeRecursively();
        library.open();
        ASSERT_TRUE(import(row.since));
        QStringList prompts;
        const QStringList captures = ids();
        for (auto id = captures.rbegin(); id != captures.rend(); ++id) {
            for (const SessionEntry& entry : sessionFolder::entries(*library.record(*id))) {
                prompts.append(entry.prompt);
            }
        }
        EXPECT_EQ(prompts, row.prompts);
    }
}

TEST_F(SessionImporterTest, aLaterDayThatIsAskedForLeavesNoGapBehind) {
    write(asked(u"a"_s, at(8), u"this morning"_s));
    for (const QVariant& last : {QVariant(at(7)), QVariant()}) {
        settings.set(u"claudeSessionsLastImport"_s, last);
        ASSERT_TRUE(import(at(0, 0, -1)));
        EXPECT_TRUE(ids().isEmpty());
        EXPECT_EQ(settings.value(u"claudeSessionsLastImport"_s), last);
    }
    EXPECT_EQ(import()->requests, 1);
}

TEST_F(SessionImporterTest, whatCannotBeReadIsImportedOnceItCan) {
    write(asked(u"a"_s, at(8), u"first"_s));
    scratch.write(u"projects/q/closed.jsonl"_s, asked(u"b"_s, at(8, 30), u"second"_s));
    const QString closed = scratch.path(u"projects/q/closed.jsonl"_s);
    Nobody nobody(scratch.path());
    ASSERT_TRUE(nobody.close(closed));
    EXPECT_EQ(import()->unreadable, QStringList{closed});
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u""_s}));
    EXPECT_EQ(settings.value(u"claudeSessionsLastImport"_s).toDateTime(), clock.now());
    // What is deleted meanwhile does not come back for it.
    QDir(library.capturesFolder()).removeRecursively();
    library.open();
    clock.advance(24h);
    EXPECT_EQ(import()->unreadable, QStringList{closed});
    EXPECT_TRUE(ids().isEmpty());
    ASSERT_TRUE(Nobody::open(closed));
    EXPECT_TRUE(import()->unreadable.isEmpty());
    EXPECT_TRUE(texts().contains(u"second"_s));
}

TEST_F(SessionImporterTest, chatsOfImpossibleDaysAreNotFiled) {
    write(asked(u"a"_s, at(8), u"today"_s) + asked(u"b"_s, at(12, 0, -2), u"in two days"_s) +
          asked(u"c"_s, QDateTime(QDate(9990, 1, 1), QTime(8, 0)), u"never"_s) +
          asked(u"d"_s, QDateTime(QDate(1999, 1, 1), QTime(8, 0)), u"long ago"_s));
    EXPECT_EQ(import(QDateTime(QDate(1990, 1, 1), QTime(0, 0)))->requests, 1);
    EXPECT_EQ(texts(), (QStringList{u"today"_s, u""_s}));
}

TEST_F(SessionImporterTest, theSettingAndTheHourDecideWhetherTheTimerImports) {
    write(asked(u"a"_s, at(8), u"first"_s));
    SessionImporter one = importer();
    one.check();
    EXPECT_FALSE(one.isRunning());
    EXPECT_EQ(wait(one.importNow(false, {}, false))->requests, 0);
    settings.set(u"claudeSessionsEnabled"_s, true);
    one.check();
    EXPECT_TRUE(one.isRunning());
    one.check();
    EXPECT_EQ(wait(one.importNow(true, {}, false))->requests, 0) << "an import runs already";
    ASSERT_TRUE(eventually([&] { return !one.isRunning(); }));
    EXPECT_EQ(memorized, QStringList{u"2026-03-02-0800-session"_s});
    clock.advance(60min);
    one.check();
    EXPECT_FALSE(one.isRunning());
    // A clock that was wrong and is set right again stops nothing.
    for (const QDateTime& due : {clock.now().addSecs(1), at(8, 0, 1)}) {
        clock.setNow(due);
        one.check();
        EXPECT_TRUE(one.isRunning());
        ASSERT_TRUE(eventually([&] { return !one.isRunning(); }));
    }
}

TEST_F(SessionImporterTest, onlyLogsWithSomethingNewAreMemorizedOldestFirst) {
    write(asked(u"a"_s, at(1, 0, 2), u"a"_s) + asked(u"b"_s, at(1, 0, 1), u"b"_s) +
          asked(u"c"_s, at(1), u"c"_s) + asked(u"d"_s, at(2), u"d"_s));
    ASSERT_TRUE(import(at(0, 0, 2)));
    const auto readUpTo = [&](const QString& id, const QDateTime& time) {
        CaptureRecord record = *library.record(id);
        record.meta.sessionCursor = time;
        EXPECT_TRUE(library.save(record));
    };
    readUpTo(u"2026-03-01-0100-session"_s, at(1, 0, 1));
    readUpTo(u"2026-03-02-0100-session"_s, at(1));
    scratch.write(u"library/captures/2026-02-01-0100-session/session.json"_s, "broken");
    SessionImporter one = importer();
    wait(one.memorizeNew());
    EXPECT_EQ(memorized, (QStringList{u"2026-02-28-0100-session"_s, u"2026-03-02-0100-session"_s}));
    // The next import leaves the cursor where it is.
    ASSERT_TRUE(import(at(0, 0, 2)));
    EXPECT_EQ(library.record(u"2026-03-02-0100-session"_s)->meta.sessionCursor, at(1));
}

TEST_F(SessionImporterTest, twoThatImportAtOnceMakeOneCaptureAndLoseNothing) {
    write(asked(u"a"_s, at(8), u"first"_s));
    ContextLibrary otherLibrary(scratch.path(u"library"_s), clock);
    otherLibrary.open();
    SessionImporter one = importer();
    SessionImporter other = importer(otherLibrary);
    auto first = one.importNow(true, at(0), false);
    auto second = other.importNow(true, at(0), false);
    EXPECT_EQ(wait(std::move(first))->captures, wait(std::move(second))->captures);
    EXPECT_EQ(ids(), QStringList{u"2026-03-02-0800-session"_s});

    // The one that comes later waits for the lock, and then finds what the other one has filed.
    write(asked(u"a"_s, at(8), u"first"_s) + asked(u"b"_s, at(9), u"second"_s));
    auto lock = std::make_optional<CaptureLock>(library.capturesFolder());
    auto waiting = one.importNow(true, at(0), false);
    ASSERT_TRUE(eventually([&] { return clock.timerCount() > 0; }));
    EXPECT_EQ(texts().size(), 2);
    lock.reset();
    clock.advance(1s);
    ASSERT_TRUE(wait(std::move(waiting)));
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u""_s, u"second"_s, u""_s}));
}

TEST_F(SessionImporterTest, aLockThatIsNeverFreeEndsTheImportWithASentence) {
    write(asked(u"a"_s, at(8), u"first"_s));
    settings.set(u"claudeSessionsLastImport"_s, at(7));
    const CaptureLock lock(library.capturesFolder());
    SessionImporter one = importer();
    auto task = one.importNow(true, {}, false);
    ASSERT_TRUE(eventually([&] { return clock.timerCount() > 0; }));
    clock.advance(60s);
    const auto report = wait(std::move(task));
    ASSERT_FALSE(report);
    EXPECT_EQ(report.error().message, u"Another import of chats is running; try again when it is done."_s);
    EXPECT_EQ(settings.value(u"claudeSessionsLastImport"_s).toDateTime(), at(7));
}

TEST_F(SessionImporterTest, aBrokenLogIsKeptBesideTheNewOne) {
    write(asked(u"a"_s, at(8), u"first"_s));
    ASSERT_TRUE(import(at(0)));
    const QString json = u"library/captures/2026-03-02-0800-session/session.json"_s;
    scratch.write(json, "{ not a log");
    ASSERT_TRUE(import(at(0)));
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u""_s}));
    EXPECT_EQ(scratch.read(json + u".broken"_s), "{ not a log");
}

TEST_F(SessionImporterTest, aLogThatCannotBeWrittenStopsNoOtherAndIsTriedAgain) {
    write(asked(u"a"_s, at(8), u"first"_s));
    ASSERT_TRUE(import(at(0)));
    const QString json = u"library/captures/2026-03-02-0800-session/session.json"_s;
    QFile::remove(scratch.path(json));
    scratch.write(json + u"/in-the-way"_s, "a folder");
    settings.set(u"claudeSessionsLastImport"_s, at(7));
    write(asked(u"a"_s, at(8), u"first"_s) + asked(u"b"_s, at(9), u"elsewhere"_s, u"/home/me/other"_s));
    EXPECT_FALSE(import());
    EXPECT_EQ(settings.value(u"claudeSessionsLastImport"_s).toDateTime(), at(7));
    EXPECT_EQ(texts(u"2026-03-02-0900-session"_s), (QStringList{u"elsewhere"_s, u""_s}));
    QDir(scratch.path(json)).removeRecursively();
    ASSERT_TRUE(import());
    EXPECT_EQ(texts(), (QStringList{u"first"_s, u""_s}));
}

TEST_F(SessionImporterTest, noSecretReachesAFileOrTheLog) {
    const QString key = u"sk-"_s + u"Zq9"_s.repeated(12);
    const QString password = u"tr0ub4dor-and-3"_s;
    const QString named = u"password: "_s + password;
    write(asked(u"a"_s, at(8), u"use "_s + key + u" and "_s + named) + answered(u"I used "_s + key) +
          asked(u"b"_s, at(9),
                u"<command-name>/login</command-name><command-args>"_s + key + u"</command-args>"_s) +
          R"({"type":"ai-title","aiTitle":"The key )" + key.toUtf8() + "\"}\n");
    ASSERT_TRUE(import(at(0), true));
    AppLog::flush();
    QByteArray everything = readFile(AppLog::url()).value_or(QByteArray());
    QDirIterator files(scratch.path(u"library"_s), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        everything += readFile(files.next()).value_or(QByteArray());
    }
    EXPECT_TRUE(everything.contains("I used [hidden key]"));
    EXPECT_FALSE(everything.contains(key.toUtf8()));
    EXPECT_FALSE(everything.contains(password.toUtf8()));
}

TEST_F(SessionImporterTest, anImporterMayEndWhileItReads) {
    write(asked(u"a"_s, at(8), u"first"_s));
    auto one =
        std::make_unique<SessionImporter>(clock, settings, library, nullptr, scratch.path(u"projects"_s));
    auto task = one->importNow(true, at(0), true);
    one.reset();
    EXPECT_FALSE(wait(std::move(task)));
    EXPECT_TRUE(ids().isEmpty());
}

TEST_F(SessionImporterTest, aRenameDuringAnImportIsKeptAndTakesNothingBack) {
    constexpr int rounds = 60;
    write(asked(u"a"_s, at(8), u"first"_s));
    ASSERT_TRUE(import());
    const CaptureRecord record = library.captures().first();
    std::thread other([record] {
        for (int i = 0; i < rounds; ++i) {
            EXPECT_TRUE(renameCapture(record, u"Title %1"_s.arg(i)));
        }
    });
    SessionEntries entries = sessionFolder::entries(record);
    for (int i = 1; i <= rounds;) {
        const CaptureLock lock(library.capturesFolder());
        if (lock.isLocked()) {
            entries.last().time = at(8).addSecs(i * 60);
            EXPECT_TRUE(sessionFolder::update(record, entries));
            ++i;
        }
    }
    other.join();
    const auto meta = captureFiles::meta(record);
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->title, u"Title %1"_s.arg(rounds - 1));
    EXPECT_EQ(meta->endedAt, at(9).addSecs(60));
}
