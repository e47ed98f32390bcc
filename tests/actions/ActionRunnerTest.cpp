#include "LumbroCore/AppLog.h"
#include "LumbroCore/Json.h"
#include "actions/ActionFiles.h"
#include "actions/ActionRunner.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"

#include <QDir>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace lumbro;
using namespace std::chrono_literals;
using Status = ActionRun::Status;

namespace {

const QString good =
    u"RESULT: {\"status\":\"done\",\"summary\":\"Added 1 task\",\"items\":[{\"title\":\"a\",\"verified\":true}]}"_s;

/// One process's runner.
struct Process {
    Process(test::TestClock& clock, const QString& root)
        : runner(
              clock, agent,
              [this](const QString& id) {
                  const auto found = std::ranges::find(connectors, id, &Connector::id);
                  return found == connectors.end() ? std::nullopt : std::optional(*found);
              },
              root) {
        QObject::connect(&runner, &ActionRunner::finished, &runner,
                         [this](const ActionRun& run) { finished << run.id; });
        QObject::connect(&runner, &ActionRunner::interrupted, &runner,
                         [this](const QString& id) { interrupted << id; });
        runner.load();
    }

    ActionRun submit(const QString& content, const QString& instruction = u"Add a page"_s) {
        const auto run = runner.submit(connectors.first(),
                                       {.instruction = instruction, .content = content, .about = u"Sync"_s});
        EXPECT_TRUE(run) << qPrintable(run.error().message);
        return run.value_or(ActionRun());
    }
    Status status(const ActionRun& run) const { return runner.run(run.id).value_or(ActionRun()).status; }

    QList<Connector> connectors{
        {.id = u"claude.ai Linear"_s,
         .app = u"Linear"_s,
         .icon = u"checklist"_s,
         .config = std::nullopt,
         .status = Connector::Status::connected,
         .featured = true,
         .tools = {u"mcp__claude_ai_Linear__create_issue"_s, u"mcp__claude_ai_Linear__delete_issue"_s}}};
    test::ScriptedAgent agent;
    ActionRunner runner;
    QStringList finished;
    QStringList interrupted;
};

struct ActionRunnerTest : ::testing::Test {
    ActionRun onDisk(const QString& id) const {
        return ActionFiles(m_folder.path()).read(id).value_or(ActionRun());
    }

    /// From now on the run's file can't be written.
    void obstruct(const ActionRun& run) const {
        const QString path = m_folder.path(u"actions/%1.json"_s.arg(run.id));
        QFile::remove(path);
        ASSERT_TRUE(QDir().mkdir(path));
    }

    test::ScratchFolder m_folder;
    test::TestClock m_clock;
    Process m_process{m_clock, m_folder.path()};
};

}  // namespace

TEST_F(ActionRunnerTest, aRunGoesFromTheQueueToItsFile) {
    const ActionRun run = m_process.submit(u"- one"_s);
    EXPECT_EQ(run.id, u"2026-03-02-0914-linear-"_s + run.key.first(6));
    EXPECT_EQ(run.status, Status::running);
    EXPECT_EQ(onDisk(run.id).status, Status::running);
    const AgentRequest& request = m_process.agent.calls.at(0)->request;
    EXPECT_EQ(request.instruction, u"Do the instruction in stdin with Linear."_s);
    EXPECT_EQ(request.context, u"# INSTRUCTION\nAdd a page\n\n# FROM\nSync\n\n# CONTENT\n- one"_s);
    EXPECT_EQ(request.model, u"sonnet"_s);
    EXPECT_TRUE(request.tools.isEmpty());
    ASSERT_TRUE(request.connectors);
    EXPECT_EQ(request.connectors->allow, QStringList{u"mcp__claude_ai_Linear"_s});
    EXPECT_EQ(request.requireTools, u"mcp__claude_ai_Linear"_s);
    EXPECT_EQ(request.disallowed, m_process.connectors.first().deletionGuard());
    EXPECT_EQ(request.timeout, 600s);

    m_clock.advance(40s);
    m_process.agent.calls.at(0)->answer(good);
    const ActionRun done = onDisk(run.id);
    EXPECT_EQ(done.status, Status::done);
    EXPECT_EQ(done.summary, u"Added 1 task"_s);
    EXPECT_EQ(done.items.size(), 1);
    EXPECT_EQ(done.finished, m_clock.now());
    EXPECT_EQ(m_process.runner.run(run.id), done);
    EXPECT_EQ(m_process.finished, QStringList{run.id});
    EXPECT_FALSE(m_process.runner.hasActive());
    EXPECT_EQ(QDir(m_folder.path(u"actions"_s)).entryList(QDir::Files | QDir::Hidden),
              QStringList{run.id + u".json"_s});
}

TEST_F(ActionRunnerTest, theGuardAgainstDeletingIsLiftedOnlyByTheUsersWords) {
    m_process.submit(u"a"_s, u"Archive the old page"_s);
    m_process.submit(u"b"_s);
    const AgentRequest& lifted = m_process.agent.calls.at(0)->request;
    EXPECT_TRUE(lifted.disallowed.isEmpty());
    EXPECT_FALSE(lifted.mustNotLoad);
    const AgentRequest& guarded = m_process.agent.calls.at(1)->request;
    // The list of tools may have been empty or old when it was asked for.
    EXPECT_TRUE(guarded.disallowed.contains(u"mcp__claude_ai_Linear__*purge*"_s));
    EXPECT_TRUE(guarded.disallowed.contains(u"mcp__claude_ai_Linear__delete_issue"_s));
    ASSERT_TRUE(guarded.mustNotLoad);
    EXPECT_TRUE(guarded.mustNotLoad(u"mcp__claude_ai_Linear__issue_dElete"_s));
    EXPECT_FALSE(guarded.mustNotLoad(u"mcp__claude_ai_Linear__create_issue"_s));
}

TEST_F(ActionRunnerTest, twoRunAtATimeAndTheOldestGoesNext) {
    QList<ActionRun> runs;
    for (const char* content : {"a", "b", "c", "d"}) {
        runs << m_process.submit(QString::fromLatin1(content));
        m_clock.advance(1s);
    }
    EXPECT_EQ(m_process.agent.calls.size(), 2U);
    EXPECT_EQ(m_process.runner.runs().first().id, runs.at(3).id);
    m_process.agent.calls.at(1)->answer(good);
    ASSERT_EQ(m_process.agent.calls.size(), 3U);
    EXPECT_EQ(m_process.status(runs.at(2)), Status::running);
    EXPECT_EQ(m_process.status(runs.at(3)), Status::queued);
    // A connector that has gone fails the waiting run at once.
    m_process.connectors.clear();
    m_process.agent.calls.at(0)->answer(good);
    EXPECT_EQ(m_process.agent.calls.size(), 3U);
    EXPECT_EQ(onDisk(runs.at(3).id).error,
              u"Linear isn't connected any more. Check Claude: Settings → Connectors."_s);
    EXPECT_EQ(m_process.runner.retry(runs.at(0)).error().message, onDisk(runs.at(3).id).error);
}

TEST_F(ActionRunnerTest, theSameWorkIsUnderWayOnlyOnceAndANewRunHasANameOfItsOwn) {
    const ActionRun first = m_process.submit(u"- one"_s);
    EXPECT_EQ(m_process.submit(u"\n - one \n"_s).id, first.id);
    EXPECT_EQ(m_process.agent.calls.size(), 1U);
    m_process.agent.calls.at(0)->answer(good);
    const auto second = m_process.runner.retry(first);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->id, first.id + u"-2"_s);
    EXPECT_EQ(ActionFiles(m_folder.path()).readAll().first().id, second->id) << "in the same second";
    EXPECT_EQ(onDisk(first.id).status, Status::done);
    EXPECT_EQ(m_process.runner.latest(u" - one"_s).value_or(ActionRun()).id, second->id);
    EXPECT_EQ(m_process.runner.latest(first.connectorID, u"- one"_s).value_or(ActionRun()).id, second->id);
    EXPECT_FALSE(m_process.runner.latest(u"other"_s, u"- one"_s));
}

TEST_F(ActionRunnerTest, whatAnEndIsWorth) {
    const QString longSummary(200, u'x');
    struct Row {
        Result<QString> output;
        Status status;
        std::optional<QString> error;
        qsizetype summary = 0;
        std::chrono::seconds taken{0};
    };
    const Row rows[] = {
        {fail(FailureKind::timedOut, u"Late"_s), Status::unconfirmed,
         u"It ran for over 10 minutes and was stopped."_s, 0, 600s},
        {fail(FailureKind::timedOut, u"Killed"_s), Status::unconfirmed,
         u"Claude Code was ended before it could report."_s, 0, 599s},
        {fail(FailureKind::cancelled, u"Cancelled"_s), Status::stopped, std::nullopt},
        {fail(FailureKind::limit, u"At the limit"_s), Status::failed, u"At the limit"_s},
        {u"RESULT: {\"status\":\"failed\",\"summary\":\"%1\"}"_s.arg(longSummary), Status::failed,
         longSummary, 140},
        {good + u"\nRESULT: {"_s, Status::unconfirmed,
         u"No result report. Claude said: "_s + good + u"\nRESULT: {"_s},
        {u"RESULT: {\"status\":\"failed\",\"summary\":\"No\"}\n"_s + good, Status::unconfirmed,
         u"Claude reported two different results."_s, 12},
        {u"RESULT: {\"status\":\"partial\",\"summary\":\"Half\"}"_s, Status::unconfirmed, std::nullopt, 4},
    };
    for (const Row& row : rows) {
        const ActionRun run = m_process.submit(u"x"_s);
        m_clock.advance(row.taken);
        m_process.agent.calls.back()->answer(row.output);
        const ActionRun ended = onDisk(run.id);
        EXPECT_EQ(ended.status, row.status);
        EXPECT_EQ(ended.error, row.error);
        EXPECT_EQ(ended.summary.size(), row.summary);
    }
}

TEST_F(ActionRunnerTest, toolsThatAreLateAreWaitedForFourTimes) {
    const ActionRun run = m_process.submit(u"x"_s);
    for (size_t attempt = 1; attempt <= 4; ++attempt) {
        ASSERT_EQ(m_process.agent.calls.size(), attempt);
        m_process.agent.calls.back()->answer(fail(FailureKind::toolsNotReady, u"Late"_s));
        m_clock.advance(2900ms);
        EXPECT_EQ(m_process.agent.calls.size(), attempt);
        m_clock.advance(100ms);
    }
    EXPECT_EQ(m_process.agent.calls.size(), 4U);
    EXPECT_EQ(onDisk(run.id).status, Status::failed);
    EXPECT_EQ(onDisk(run.id).error,
              u"Linear didn't load in time, so nothing was changed. Try again in a minute."_s);
}

TEST_F(ActionRunnerTest, stopEndsARunWhereverItIs) {
    const ActionRun pausing = m_process.submit(u"a"_s);
    const ActionRun running = m_process.submit(u"b"_s);
    const ActionRun queued = m_process.submit(u"c"_s);
    m_process.runner.stop(queued.id);
    EXPECT_EQ(onDisk(queued.id).status, Status::stopped);
    EXPECT_TRUE(onDisk(queued.id).neverStarted);
    m_process.runner.stop(running.id);
    EXPECT_TRUE(m_process.agent.calls.at(1)->cancel->isCancelled);
    EXPECT_EQ(m_process.status(running), Status::running);
    m_process.agent.calls.at(1)->answer(fail(FailureKind::cancelled, u"Cancelled"_s));
    EXPECT_EQ(m_process.status(running), Status::stopped);
    EXPECT_FALSE(onDisk(running.id).neverStarted);

    m_process.agent.calls.at(0)->answer(fail(FailureKind::toolsNotReady, u"Late"_s));
    m_process.runner.stop(pausing.id);
    m_clock.advance(3s);
    EXPECT_EQ(m_process.status(pausing), Status::stopped);
    EXPECT_EQ(m_process.agent.calls.size(), 2U);
    m_process.runner.stop(pausing.id);
    m_process.runner.stop(u"unknown"_s);
    EXPECT_EQ(m_process.finished.size(), 3);
}

TEST_F(ActionRunnerTest, whatEndedWithItsProcessIsInterruptedAndNeverRunsAgain) {
    QString id;
    QString waiting;
    {
        Process earlier(m_clock, m_folder.path());
        id = earlier.submit(u"a"_s).id;
        earlier.submit(u"b"_s);
        waiting = earlier.submit(u"c"_s).id;
    }
    m_folder.write(u"actions/broken.json"_s, "{");
    m_folder.write(u"actions/.%1.stop"_s.arg(id), "");
    EXPECT_EQ(ActionFiles(m_folder.path()).readSettled().first().status, Status::interrupted);
    EXPECT_EQ(onDisk(id).status, Status::running);
    m_folder.write(u"actions/copy.json"_s, m_folder.read(u"actions/%1.json"_s.arg(id)));
    m_clock.advance(60s);
    Process later(m_clock, m_folder.path());
    EXPECT_EQ(later.runner.runs().size(), 3);
    EXPECT_EQ(later.interrupted.size(), 3);
    for (const QString& each : {id, waiting}) {
        EXPECT_EQ(onDisk(each).status, Status::interrupted);
        EXPECT_EQ(onDisk(each).finished, m_clock.now());
        EXPECT_EQ(onDisk(each).neverStarted, each == waiting);
    }
    EXPECT_TRUE(later.agent.calls.empty());
    EXPECT_TRUE(m_folder.has(u"actions/broken.json"_s));
    EXPECT_FALSE(m_folder.has(u"actions/.%1.stop"_s.arg(id)));
    later.runner.load();
    EXPECT_EQ(later.interrupted.size(), 3);
}

TEST_F(ActionRunnerTest, aRunOfAnotherProcessIsShownAndLeftAlone) {
    auto other = std::make_unique<Process>(m_clock, m_folder.path());
    const ActionRun theirs = other->submit(u"a"_s);
    m_process.runner.reload();
    EXPECT_EQ(m_process.status(theirs), Status::running);
    EXPECT_TRUE(m_process.runner.hasActive());
    EXPECT_TRUE(m_process.interrupted.isEmpty());
    EXPECT_EQ(m_process.submit(u"a"_s).id, theirs.id);
    EXPECT_TRUE(m_process.agent.calls.empty());
    other->agent.calls.at(0)->answer(good);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(theirs), Status::done);
    EXPECT_EQ(m_clock.timerCount(), 0U);

    // Unknown here until the same is sent: then it is found under way.
    const ActionRun second = other->submit(u"b"_s);
    EXPECT_EQ(m_process.submit(u"b"_s).id, second.id);
    EXPECT_TRUE(m_process.agent.calls.empty());
    other.reset();
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(second), Status::interrupted);
    EXPECT_EQ(m_process.interrupted, QStringList{second.id});
    // Two that send the same in the same minute write two files.
    EXPECT_NE(m_process.submit(u"b"_s).id, second.id);
    EXPECT_EQ(onDisk(second.id).status, Status::interrupted);
}

TEST_F(ActionRunnerTest, whatOtherProcessesSendShowsByItself) {
    m_process.runner.follow();
    int changes = 0;
    QObject::connect(&m_process.runner, &ActionRunner::runsChanged, [&] { ++changes; });
    m_clock.advance(10s);
    EXPECT_EQ(changes, 0);
    auto other = std::make_unique<Process>(m_clock, m_folder.path());
    const ActionRun theirs = other->submit(u"a"_s);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(theirs), Status::running);
    other->agent.calls.at(0)->answer(good);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(theirs), Status::done);
    const ActionRun killed = other->submit(u"b"_s);
    m_clock.advance(2s);
    other.reset();
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(killed), Status::interrupted);
    EXPECT_EQ(m_process.interrupted, QStringList{killed.id});
    EXPECT_TRUE(m_process.finished.isEmpty() && m_process.agent.calls.empty());

    QFile::remove(m_folder.path(u"actions/%1.json"_s.arg(killed.id)));
    m_clock.advance(2s);
    EXPECT_EQ(m_process.runner.runs().size(), 1);
    ASSERT_TRUE(QDir(m_folder.path(u"actions"_s)).removeRecursively());
    m_clock.advance(2s);
    EXPECT_TRUE(m_process.runner.runs().isEmpty());
    Process third(m_clock, m_folder.path());
    m_clock.advance(2s);
    const ActionRun ours = m_process.submit(u"c"_s);
    third.submit(u"d"_s);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.runner.runs().size(), 2) << "in a folder that was made anew";
    m_process.agent.calls.at(0)->answer(good);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(ours), Status::done);
    EXPECT_EQ(m_process.finished.size(), 1);
}

TEST_F(ActionRunnerTest, aRunOfWhichNobodyCanTellWhetherItGoesOnIsNotGivenUpAtOnce) {
    auto other = std::make_unique<Process>(m_clock, m_folder.path());
    const QString id = other->submit(u"a"_s).id;
    other.reset();
    // A mark that can't be asked stands for a file system without locks.
    QFile::link(u"elsewhere"_s, m_folder.path(u"actions/.%1.lock"_s.arg(id)));
    Process later(m_clock, m_folder.path());
    EXPECT_EQ(ActionFiles(m_folder.path()).readSettled().first().status, Status::running);
    EXPECT_EQ(later.submit(u"a"_s).id, id);
    m_clock.advance(5s);
    EXPECT_EQ(onDisk(id).status, Status::running);
    QFile file(m_folder.path(u"actions/%1.json"_s.arg(id)));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.setFileTime(QDateTime::currentDateTime().addDays(-2), QFileDevice::FileModificationTime);
    file.close();
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(id).status, Status::interrupted);
}

TEST_F(ActionRunnerTest, aStartSweepsWhatKilledProcessesHadHalfWritten) {
    const auto put = [this](const QString& name, int age) {
        const QString path = u"actions/"_s + name;
        m_folder.write(path, "{");
        QFile file(m_folder.path(path));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(QDateTime::currentDateTime().addSecs(-age), QFileDevice::FileModificationTime);
    };
    for (const auto& name :
         {u"a.json.AbCdEf"_s, u".a.stop.xaYzAb"_s, u"mine.txt.AbCdEf"_s, u"a.json.old"_s, u"b.json"_s}) {
        put(name, 120);
    }
    put(u"c.json.AbCdEf"_s, 5);
    const Process later(m_clock, m_folder.path());
    EXPECT_EQ(QDir(m_folder.path(u"actions"_s)).entryList(QDir::Files | QDir::Hidden, QDir::Name),
              (QStringList{u"a.json.old"_s, u"b.json"_s, u"c.json.AbCdEf"_s, u"mine.txt.AbCdEf"_s}));
}

TEST_F(ActionRunnerTest, twoRunAtATimeInAllProcessesTogether) {
    Process other(m_clock, m_folder.path());
    const ActionRun first = m_process.submit(u"a"_s);
    const ActionRun second = other.submit(u"b"_s);
    const ActionRun third = other.submit(u"c"_s);
    const ActionRun fourth = m_process.submit(u"d"_s);
    EXPECT_EQ(onDisk(second.id).status, Status::running);
    EXPECT_EQ(onDisk(third.id).status, Status::queued);
    EXPECT_EQ(onDisk(fourth.id).status, Status::queued);
    m_clock.advance(5s);
    EXPECT_EQ(m_process.agent.calls.size() + other.agent.calls.size(), 2U);
    m_process.agent.calls.at(0)->answer(good);
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(first.id).status, Status::done);
    EXPECT_EQ(m_process.agent.calls.size() + other.agent.calls.size(), 3U);
    EXPECT_EQ(onDisk(third.id).status, Status::running);
    other.agent.calls.at(0)->answer(good);
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(fourth.id).status, Status::running);
}

TEST_F(ActionRunnerTest, whoeverSentFirstGoesFirstWhateverTheProcess) {
    Process other(m_clock, m_folder.path());
    m_process.submit(u"a"_s);
    m_process.submit(u"b"_s);
    const ActionRun third = other.submit(u"c"_s);
    // A clock that is set back changes nothing.
    m_clock.setNow(m_clock.now().addSecs(-3600));
    const ActionRun fourth = m_process.submit(u"d"_s);
    m_process.agent.calls.at(0)->answer(good);
    EXPECT_EQ(onDisk(fourth.id).status, Status::queued);
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(third.id).status, Status::running);
    m_process.agent.calls.at(1)->answer(good);
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(fourth.id).status, Status::running);
}

TEST_F(ActionRunnerTest, nobodyWaitsForAProcessThatIsGoneOrSuspended) {
    test::TestClock standing;
    auto killed = std::make_unique<Process>(m_clock, m_folder.path());
    Process suspended(standing, m_folder.path());
    m_process.submit(u"a"_s);
    m_process.submit(u"b"_s);
    killed->submit(u"c"_s);
    const ActionRun fourth = m_process.submit(u"d"_s);
    suspended.submit(u"e"_s);
    const ActionRun sixth = m_process.submit(u"f"_s);
    killed.reset();
    m_process.agent.calls.at(0)->answer(good);
    EXPECT_EQ(m_process.status(fourth), Status::running);
    m_process.agent.calls.at(1)->answer(good);
    m_clock.advance(4s);
    EXPECT_EQ(m_process.status(sixth), Status::queued);
    m_clock.advance(1s);
    EXPECT_EQ(m_process.status(sixth), Status::running);
}

TEST_F(ActionRunnerTest, anotherProcessIsAskedToStopItsRun) {
    Process other(m_clock, m_folder.path());
    const ActionRun running = other.submit(u"a"_s);
    const ActionRun between = other.submit(u"b"_s);
    const ActionRun queued = other.submit(u"c"_s);
    other.agent.calls.at(1)->answer(fail(FailureKind::toolsNotReady, u"Late"_s));
    m_process.runner.reload();
    for (const QString& id : {running.id, between.id, queued.id}) {
        m_process.runner.stop(id);
    }
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(queued.id).status, Status::stopped);
    EXPECT_TRUE(other.agent.calls.at(0)->cancel->isCancelled);
    m_clock.advance(2s);
    EXPECT_EQ(m_process.status(between), Status::stopped);
    // It was faster than the request.
    other.agent.calls.at(0)->answer(good);
    m_clock.advance(1s);
    EXPECT_EQ(m_process.status(running), Status::done);
    m_process.runner.stop(running.id);
    EXPECT_EQ(m_clock.timerCount(), 0U);
    EXPECT_EQ(QDir(m_folder.path(u"actions"_s)).entryList({u".*"_s}, QDir::Files | QDir::Hidden),
              QStringList());
}

TEST_F(ActionRunnerTest, nothingIsSentThatCannotBeFiled) {
    ASSERT_TRUE(QDir(m_folder.path(u"actions"_s)).removeRecursively());
    m_folder.write(u"actions"_s, "no folder");
    const auto refused = m_process.runner.submit(m_process.connectors.first(), {.content = u"a"_s});
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().message.startsWith(u"Nothing was sent: can't write "));
    EXPECT_TRUE(m_process.runner.runs().isEmpty());
    QFile::remove(m_folder.path(u"actions"_s));

    m_process.submit(u"a"_s);
    m_process.submit(u"b"_s);
    const ActionRun waiting = m_process.submit(u"c"_s);
    obstruct(waiting);
    m_process.agent.calls.at(0)->answer(good);
    EXPECT_EQ(m_process.agent.calls.size(), 2U);
    const ActionRun failed = m_process.runner.run(waiting.id).value_or(ActionRun());
    EXPECT_EQ(failed.status, Status::failed);
    EXPECT_TRUE(failed.error.value_or(QString()).startsWith(u"Nothing was sent: can't write "));
}

TEST_F(ActionRunnerTest, nobodyIsAskedWhileThereIsNoRoomForTheResult) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit small{8192, usual.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const ActionRun refused = m_process.submit(u"a"_s);
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_TRUE(m_process.agent.calls.empty());
    EXPECT_EQ(refused.status, Status::failed);
    EXPECT_TRUE(refused.error.value_or(QString()).startsWith(u"Nothing was sent: there is no place for its "))
        << qPrintable(refused.error.value_or(QString()));
    EXPECT_EQ(onDisk(refused.id).status, Status::failed);
    m_process.submit(u"a"_s);
    EXPECT_EQ(m_process.agent.calls.size(), 1U);
}

TEST_F(ActionRunnerTest, anEndThatCannotBeFiledIsFiledWhenItCan) {
    Process other(m_clock, m_folder.path());
    const ActionRun run = m_process.submit(u"a"_s);
    const QByteArray started = m_folder.read(u"actions/%1.json"_s.arg(run.id));
    obstruct(run);
    m_process.agent.calls.at(0)->answer(good);
    EXPECT_EQ(m_process.status(run), Status::done);
    EXPECT_EQ(m_process.finished, QStringList{run.id});
    EXPECT_TRUE(m_process.runner.isOurs(run.id));
    EXPECT_FALSE(m_process.runner.hasActive());
    m_clock.advance(3s);
    EXPECT_TRUE(m_process.runner.isOurs(run.id));

    // Meanwhile the file tells others that it is under way, and they don't send it again; we may.
    ASSERT_TRUE(QDir().rmdir(m_folder.path(u"actions/%1.json"_s.arg(run.id))));
    m_folder.write(u"actions/%1.json"_s.arg(run.id), started);
    EXPECT_EQ(other.submit(u"a"_s).id, run.id);
    EXPECT_TRUE(other.agent.calls.empty());
    const ActionRun again = m_process.submit(u"a"_s);
    EXPECT_NE(again.id, run.id);
    m_clock.advance(1s);
    EXPECT_EQ(onDisk(run.id).status, Status::done);
    EXPECT_FALSE(m_process.runner.isOurs(run.id));
    EXPECT_EQ(other.status(run), Status::done);
    m_process.agent.calls.at(1)->answer(good);
    m_clock.advance(1s);
    EXPECT_EQ(m_clock.timerCount(), 0U);
}
