#include "tests/cli/MemoryCommandLine.h"
#include "tests/support/Wait.h"

#include <array>
#include <csignal>

using namespace lumbro;
using namespace lumbro::test;

using MemoryUpdateCommands = MemoryCommandsTest;

TEST_F(MemoryUpdateCommands, readACaptureIntoTheMemory) {
    addMeeting();
    EXPECT_EQ(line.run({u"memory"_s, u"catch-up"_s}).errors.section(u'\n', 1),
              u"lumbro: %1: Claude Code isn't installed\n  `lumbro doctor` says how to mend that.\n"_s.arg(
                  meeting));
    line.installAgent();
    line.set(
        u"FAKE_AGENT_MEMORY"_s,
        uR"(Sure: {"people":[{"name":"Ann Lee","timeline":"agreed"}],"promises":[{"owner":"Me","text":"reply"}]})"_s);
    const QJsonObject updated = line.run({u"memory"_s, u"update"_s, u"last"_s, u"--json"_s}).object();
    EXPECT_EQ(updated, (QJsonObject{{u"capture"_s, meeting},
                                    {u"updated"_s, true},
                                    {u"people"_s, 1},
                                    {u"projects"_s, 0},
                                    {u"promises"_s, 1},
                                    {u"closedPromises"_s, 0},
                                    {u"ideas"_s, 0}}));
    EXPECT_TRUE(file(u"people/ann-lee.md"_s)
                    .contains("- 2026-03-02 · [[captures/2026-03-02-0914-meeting/transcript|"));
    EXPECT_EQ(
        line.run({u"show"_s, u"last"_s, u"--json"_s}).object().value(u"memorizedAt"_s).toString().size(), 20);
    EXPECT_EQ(line.run({u"memory"_s, u"catch-up"_s}).errors, u"Every capture has been read already.\n"_s);

    addMeeting(u"2026-03-03-0914-meeting"_s);
    addMeeting(u"2026-03-04-0914-meeting"_s);
    const Finished caughtUp = line.run({u"memory"_s, u"catch-up"_s});
    EXPECT_EQ(caughtUp.status, 0) << qPrintable(caughtUp.errors);
    EXPECT_EQ(caughtUp.output, u"2 of 2 captures taken in.\n"_s);
    EXPECT_EQ(file(u"promises.md"_s).count("] reply"), 1);
}

TEST_F(MemoryUpdateCommands, payTheAgentOnceForACaptureThatTwoProcessesCatchUpOn) {
    line.installAgent();
    const QStringList ids{u"2026-03-02-0914-meeting"_s, u"2026-03-03-0914-meeting"_s,
                          u"2026-03-04-0914-meeting"_s};
    for (const QString& id : ids) {
        line.addCapture(id, "Weekly " + id.toUtf8(), id.first(10).toUtf8() + "T08:14:00Z");
        line.write(id, u"notes.md"_s, QByteArray("word ").repeated(20));
    }
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path(u"gate"_s));
    line.set(u"FAKE_AGENT_MEMORY"_s, uR"({"people":[{"name":"Ann Lee","timeline":"agreed"}]})"_s);
    const auto runs = [this] { return line.home().read(u"agent.log"_s).count('\n'); };
    std::array<QProcess, 2> processes;
    for (size_t i = 0; i < processes.size(); ++i) {
        processes.at(i).setProcessEnvironment(line.environment());
        processes.at(i).start(CommandLine::program(), {u"memory"_s, u"catch-up"_s});
        ASSERT_TRUE(eventually([&] { return runs() == qsizetype(i) + 1; })) << "it reads another capture";
    }
    // An agent of its own would answer at once.
    line.set(u"FAKE_AGENT_GATE"_s, line.home().path());
    const Finished third = line.run({u"memory"_s, u"update"_s, ids.first()});
    EXPECT_EQ(third.status, 1);
    EXPECT_TRUE(third.errors.contains(u"lumbro: Another process is reading "_s)) << qPrintable(third.errors);
    line.home().write(u"gate"_s, "");
    for (QProcess& process : processes) {
        EXPECT_TRUE(process.waitForFinished(-1));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    }
    EXPECT_EQ(runs(), ids.size());
    for (const QString& id : ids) {
        EXPECT_EQ(file(u"people/ann-lee.md"_s).count("captures/" + id.toUtf8()), 1);
    }
    EXPECT_EQ(line.run({u"memory"_s, u"catch-up"_s}).errors, u"Every capture has been read already.\n"_s);
}

TEST_F(MemoryUpdateCommands, changeNothingWhenTheAgentGivesNoObject) {
    line.installAgent();
    addMeeting();
    line.set(u"FAKE_AGENT_MEMORY"_s, uR"({"people":[{"name":"Ann Lee"},{"role":"CTO"}]})"_s);
    const Finished unreadable = line.run({u"memory"_s, u"update"_s, u"last"_s});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_TRUE(unreadable.errors.contains(u"lumbro: The agent's answer could not be read"_s));
    EXPECT_TRUE(line.run({u"people"_s, u"--json"_s}).array().isEmpty());
    line.set(u"FAKE_AGENT_MODE"_s, u"error"_s);
    line.set(u"FAKE_AGENT_TEXT"_s, u"You've hit your session limit"_s);
    const Finished failed = line.run({u"memory"_s, u"catch-up"_s, u"--json"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.array().first().toObject().value(u"error"_s).toString().contains(u"limit"_s));
    EXPECT_TRUE(failed.errors.contains(u"lumbro: %1: "_s.arg(meeting))) << qPrintable(failed.errors);
    EXPECT_FALSE(line.run({u"show"_s, u"last"_s, u"--json"_s}).object().contains(u"memorizedAt"_s));
}

TEST_F(MemoryUpdateCommands, sayThatATranscriptIsBroken) {
    line.installAgent();
    line.addCapture(meeting, "Weekly", "2026-03-02T08:14:00Z");
    line.write(meeting, u"transcript.json"_s, "[{");
    const Finished update = line.run({u"memory"_s, u"update"_s, u"last"_s});
    EXPECT_EQ(update.status, 1);
    EXPECT_TRUE(update.errors.contains(u"lumbro: transcript.json of"_s)) << qPrintable(update.errors);
    const Finished caughtUp = line.run({u"memory"_s, u"catch-up"_s, u"--json"_s});
    EXPECT_EQ(caughtUp.status, 1);
    EXPECT_TRUE(
        caughtUp.array().first().toObject().value(u"error"_s).toString().contains(u"can't be read"_s));
}

TEST_F(MemoryUpdateCommands, endTheAgentOnInterrupt) {
    line.installAgent();
    addMeeting();
    line.set(u"FAKE_AGENT_MODE"_s, u"hang"_s);
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(), {u"memory"_s, u"update"_s, u"last"_s});
    ASSERT_TRUE(eventually([this] { return !line.home().read(u"agent.log"_s).isEmpty(); }));
    ::kill(pid_t(process.processId()), SIGINT);
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_TRUE(process.readAllStandardError().contains("was cancelled; nothing was changed"));
    const auto agent =
        json::object(line.home().read(u"agent.log"_s).split('\n').first()).value(u"pid"_s).toInt();
    EXPECT_NE(::kill(agent, 0), 0) << "the agent has ended";
}
