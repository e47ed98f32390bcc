#include "tests/cli/CommandLine.h"
#include "tests/support/PrivateSession.h"

#include <gtest/gtest.h>

using namespace lumbro;
using test::CommandLine;
using test::PrivateSession;

namespace {

/// A user whose calendars are those of Evolution, on the morning of Friday, March 27, 2026.
struct EvolutionCommands : testing::Test {
    EvolutionCommands() {
        line.set(u"LUMBRO_NOW"_s, u"2026-03-27T07:10:00"_s);
        line.home().write(u".config/Lumbro/Lumbro.ini"_s, "[General]\ncalendarSource=evolution\n");
        line.home().write(u"text.md"_s,
                          "- [ ] Me — send deck (due 2026-03-31)\n\n**Event:** Budget; round 2\n"
                          "**When:** 2026-03-27 10:00\n**Length:** 1.5 hours\n");
    }
    void SetUp() override {
        if (!PrivateSession::isInstalled()) {
            GTEST_SKIP() << "Evolution Data Server is not installed";
        }
    }
    bool begin(PrivateSession& session) {
        const bool isStarted = session.start();
        line.set(u"DBUS_SESSION_BUS_ADDRESS"_s, session.address());
        line.set(u"GSETTINGS_BACKEND"_s, u"memory"_s);
        return isStarted;
    }
    test::Finished add(const QString& what) const {
        QProcess process;
        process.setProcessEnvironment(line.environment());
        process.setStandardInputFile(line.home().path(u"text.md"_s));
        process.start(CommandLine::program(), {what, u"add"_s, u"--from=-"_s, u"--yes"_s, u"--json"_s});
        process.waitForFinished(-1);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    CommandLine line;
};

}  // namespace

TEST_F(EvolutionCommands, whatIsAddedIsOnTheAgendaAndNotFree) {
    PrivateSession session(PrivateSession::Kind::evolution);
    ASSERT_TRUE(begin(session));
    EXPECT_EQ(line.run({u"agenda"_s, u"--json"_s}).output, u"[]\n"_s);
    const auto event = add(u"event"_s);
    EXPECT_EQ(event.object()[u"result"_s].toString(), u"added"_s) << qPrintable(event.errors);
    const auto again = add(u"event"_s);
    EXPECT_EQ(again.object()[u"result"_s].toString(), u"exists"_s) << qPrintable(again.errors);
    const QJsonArray agenda = line.run({u"agenda"_s, u"--json"_s}).array();
    ASSERT_EQ(agenda.size(), 1);
    EXPECT_EQ(agenda[0].toObject()[u"title"_s].toString(), u"Budget; round 2"_s);
    const auto free = line.run({u"free-times"_s, u"--days"_s, u"1"_s});
    EXPECT_TRUE(free.output.contains(u"9:00"_s) && free.output.contains(u"11:30"_s))
        << qPrintable(free.output);
    const auto tasks = add(u"tasks"_s);
    EXPECT_EQ(tasks.object()[u"added"_s].toInt(), 1) << qPrintable(tasks.errors);
    EXPECT_FALSE(line.home().has(u".calendars"_s));
}

TEST_F(EvolutionCommands, whereItIsMissingThatIsSaidAndNoFolderIsTakenInstead) {
    PrivateSession session(PrivateSession::Kind::empty);
    ASSERT_TRUE(begin(session));
    line.home().write(u".calendars/office/displayname"_s, "Work\n");
    for (const QString& command : {u"agenda"_s, u"free-times"_s}) {
        const auto told = line.run({command});
        EXPECT_EQ(told.status, 1);
        EXPECT_TRUE(told.errors.contains(u"install the package evolution-data-server"_s))
            << qPrintable(told.errors);
    }
    for (const QString& what : {u"event"_s, u"tasks"_s}) {
        const auto told = add(what);
        EXPECT_EQ(told.status, 1);
        EXPECT_TRUE(told.errors.contains(u"install the package evolution-data-server"_s))
            << qPrintable(told.errors);
    }
}
