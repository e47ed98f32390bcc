#include "library/CaptureLock.h"
#include "tests/engines/InboxFixture.h"

#include <QCryptographicHash>

#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

using namespace std::chrono_literals;
using test::EngineInboxTest;

namespace {

Task<QString> reasonOf(QString text) {
    co_return text;
}

QString hashOf(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

}  // namespace

TEST_F(EngineInboxTest, aFileIsTakenWorkedOnAndItsResultFiled) {
    addEngine(u"sorter"_s, u"drop"_s,
              "name: Sorter\nmodel: opus\ntools: [Read, Bash(ls:*)]\nworkdir: /tmp\ntimeout: 90\n");
    library.reloadEngines(true);
    drop(u"bill.txt"_s, "Pay Ann 5 €.\n");
    const auto call = asked();
    ASSERT_TRUE(call);
    const QString run = u"2026-03-02-091405-bill"_s;
    const AgentRequest& request = call->request;
    EXPECT_EQ(request.instruction, u"Run the Sorter engine on the inbox file described in stdin."_s);
    EXPECT_EQ(
        request.context,
        u"# INBOX FILE\nPath: %1\nName: bill.txt\nArrived: Mar 2, 2026 at 9:14 AM\n\n"
        "## CONTENTS\nPay Ann 5 €.\n"_s.arg(scratch.path(u"library/inbox/sorter/%1/bill.txt"_s.arg(run))));
    EXPECT_EQ(request.systemPrompt,
              u"Sort it.\n\nOutput clean markdown only. No preamble, no closing remarks."_s);
    EXPECT_EQ(request.model, u"opus"_s);
    EXPECT_EQ(request.tools, (QStringList{u"Read"_s, u"Bash(ls:*)"_s}));
    EXPECT_EQ(request.workingDirectory, u"/tmp"_s);
    EXPECT_EQ(request.timeout, 90s);
    EXPECT_EQ(inbox->running(), (QMap<QString, QString>{{u"sorter"_s, u"bill.txt"_s}}));
    EXPECT_FALSE(scratch.has(u"drop/bill.txt"_s));
    EXPECT_EQ(runs().first().state, InboxRun::State::running);

    clock.advance(7s);
    call->answer(u"\n  Filed under Ann.  \nAll of it."_s);
    EXPECT_TRUE(inbox->running().isEmpty());
    EXPECT_EQ(record(run + u"/result.md"_s), "\n  Filed under Ann.  \nAll of it.");
    EXPECT_EQ(record(u"seen.txt"_s), (hashOf("Pay Ann 5 €.\n") + u' ' + run + u'\n').toUtf8());
    EXPECT_EQ(told, QStringList{u"Sorter: done. Filed under Ann."_s});
    EXPECT_TRUE(wasLogged(u"sorter: started on bill.txt with tools Read, Bash(ls:*)"_s));
    EXPECT_TRUE(wasLogged(u"sorter: working on bill.txt"_s));
    EXPECT_TRUE(wasLogged(u"sorter: done with bill.txt in 7s"_s));
}

TEST_F(EngineInboxTest, theSameContentIsNotWorkedOnTwiceUnlessItFailed) {
    drop(u"a  1 .txt"_s, "same");
    asked(1)->answer(fail(u"Claude is\nbusy"_s));
    EXPECT_EQ(told, QStringList{u"! Sorter failed: Claude is\nbusy"_s});
    EXPECT_EQ(record(u"2026-03-02-091405-a  1 /error.txt"_s), "Failed: Claude is busy\n");
    EXPECT_FALSE(scratch.has(u"library/inbox/sorter/seen.txt"_s));
    drop(u"a  1 .txt"_s, "same");
    asked(2)->answer(u"ok"_s);
    drop(u"b.txt"_s, "same");
    scanToRest();
    EXPECT_EQ(agent.calls.size(), 2U);
    EXPECT_EQ(
        record(u"2026-03-02-091405-b/error.txt"_s),
        "Skipped: same content as the run in 2026-03-02-091405-a  1 -2. Rename or change the file to run "
        "it again.\n");
    EXPECT_EQ(record(u"2026-03-02-091405-b/b.txt"_s), "same") << "a file that was skipped is kept";
    EXPECT_TRUE(wasLogged(u"sorter: skipped b.txt, same as 2026-03-02-091405-a  1 -2"_s));
    QStringList states;
    for (const InboxRun& run : runs()) {
        states += run.run.sliced(18) + u' ' + rawValue(run.state) + u' ' + run.file;
    }
    EXPECT_EQ(states,
              (QStringList{u"b skipped b.txt"_s, u"a  1 -2 done a  1 .txt"_s, u"a  1  failed a  1 .txt"_s}));
}

TEST_F(EngineInboxTest, takesTheOldestSettledPlainFileOneAtATime) {
    QDir().mkpath(scratch.path(u"drop/folder"_s));
    QFile::link(scratch.path(u"library/engines/sorter.md"_s), scratch.path(u"drop/link.txt"_s));
    ::mkfifo(scratch.path(u"drop/fifo"_s).toUtf8().constData(), 0600);
    drop(u".hidden"_s, "no");
    drop(u"cloud.pdf.icloud"_s, "no");
    scanToRest();
    EXPECT_TRUE(agent.calls.empty());
    drop(u"growing.txt"_s, "half", 4s);
    drop(u"from-the-future.txt"_s, "later", -3600s);
    scanToRest();
    EXPECT_TRUE(agent.calls.empty());
    drop(u"new.txt"_s, "2", 20s);
    drop(u"old.txt"_s, "1", 30s);
    const auto first = asked(1);
    inbox->scan();
    EXPECT_TRUE(first->request.context.contains(u"Name: old.txt\n"));
    recording = true;
    first->answer(u"ok"_s);
    scanToRest();
    EXPECT_EQ(agent.calls.size(), 1U) << "the inbox rests while recording";
    recording = false;
    const auto second = asked(2);
    EXPECT_TRUE(second->request.context.contains(u"Name: new.txt\n"));
    second->answer(u"ok"_s);
    clock.advance(5s);
    EXPECT_TRUE(asked(3)->request.context.contains(u"Name: growing.txt\n"));
}

TEST_F(EngineInboxTest, aRunThatWasCutOffIsToldAndNeverRunAgain) {
    drop(u"bill.txt"_s, "Pay.");
    const auto call = asked();
    // As much of the process dies as can within one: what the agent still says finds nobody.
    inbox.reset();
    call->answer(u"late"_s);
    inbox = makeInbox();
    scratch.write(u"library/inbox/sorter/2026-03-01-080000-copied/.part"_s, "half");
    QDir().mkpath(scratch.path(u"library/inbox/sorter/2026-03-01-080001-empty"_s));
    scratch.write(u"library/inbox/sorter/mine/notes.txt"_s, "my own");
    inbox->markInterrupted();
    const QString run = u"2026-03-02-091405-bill"_s;
    EXPECT_EQ(
        record(run + u"/error.txt"_s),
        "Interrupted: Lumbro quit while this ran. Check what it did before you drop the file in again.\n");
    EXPECT_EQ(record(run + u"/bill.txt"_s), "Pay.");
    EXPECT_TRUE(wasLogged(u"sorter: marked %1 interrupted"_s.arg(run)));
    EXPECT_EQ(QDir(scratch.path(u"library/inbox/sorter"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
              (QStringList{run, u"mine"_s}))
        << "what was never taken leaves no record";
    EXPECT_FALSE(scratch.has(u"library/inbox/sorter/mine/error.txt"_s));
    scanToRest();
    EXPECT_EQ(agent.calls.size(), 1U);
    EXPECT_EQ(runs().first().state, InboxRun::State::interrupted);
}

TEST_F(EngineInboxTest, aFolderThatGivesNothingAwayIsToldOnceAndHoldsNobodyUp) {
    if (::geteuid() == 0) {
        // Root may move anything; a folder that is gone shows the same road.
        QDir(scratch.path(u"drop"_s)).removeRecursively();
    } else {
        drop(u"a.txt"_s, "1");
        QFile::setPermissions(scratch.path(u"drop"_s), QFile::ReadOwner | QFile::ExeOwner);
    }
    addEngine(u"other"_s, u"drop2"_s, "name: Other\n");
    library.reloadEngines(true);
    drop(u"b.txt"_s, "2", 10s, u"drop2"_s);
    const auto call = asked();
    EXPECT_TRUE(call->request.instruction.contains(u"Other"));
    const auto count = log().count(u"ERROR [inbox] sorter: "_s);
    inbox->scan();
    EXPECT_EQ(log().count(u"ERROR [inbox] sorter: "_s), count);
    QDir().mkpath(scratch.path(u"drop"_s));
    QFile::setPermissions(scratch.path(u"drop"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    drop(u"c.txt"_s, "3", 40s);
    EXPECT_TRUE(asked(2)->request.context.contains(u"Name: c.txt\n"));
}

TEST_F(EngineInboxTest, withoutAnAgentNothingIsTakenAndItIsToldOnce) {
    QString problem = u"nobody is there"_s;
    EngineInbox::Ports ports{.library = library, .agent = agent, .clock = clock};
    ports.whyNoAgent = [&problem] { return reasonOf(problem); };
    ports.tell = [this](const QString& text, bool) { told += text; };
    inbox = std::make_unique<EngineInbox>(std::move(ports));
    drop(u"a.txt"_s, "1");
    for (int i = 0; i < 30; ++i) {
        inbox->scan();
        clock.advance(15s);
    }
    EXPECT_EQ(told, QStringList{u"Files wait for their engines: nobody is there"_s});
    EXPECT_TRUE(scratch.has(u"drop/a.txt"_s));
    EXPECT_TRUE(runs().isEmpty());
    problem.clear();
    clock.advance(AgentPresence::rest);
    const auto call = asked();
    ASSERT_TRUE(call);
    call->answer(std::unexpected(Failure{FailureKind::notLoggedIn, u"log in"_s}));
    drop(u"b.txt"_s, "2", 40s);
    inbox->scan();
    EXPECT_TRUE(inbox->running().isEmpty()) << "the next file would fare no better";
    EXPECT_TRUE(scratch.has(u"drop/b.txt"_s));
    clock.advance(AgentPresence::rest);
    EXPECT_TRUE(asked(2));
}

TEST_F(EngineInboxTest, theLibrarysOwnFoldersAreNotWatched) {
    for (const QString& own : {u"library/inbox/loop"_s, u"library/engines"_s, u"library/captures"_s}) {
        addEngine(u"loop"_s, own, "name: Loop\n");
        library.reloadEngines(true);
        drop(u"x.txt"_s, "1", 10s, own);
        scanToRest();
        EXPECT_TRUE(scratch.has(own + u"/x.txt"_s)) << qPrintable(own);
        EXPECT_FALSE(EngineInbox::problemOf(*library.engine(u"loop"_s), library.root()).isEmpty());
    }
    EXPECT_TRUE(agent.calls.empty());
}

TEST_F(EngineInboxTest, timeoutsOfAnySizeAreTimes) {
    const std::vector<std::pair<QByteArray, std::chrono::milliseconds>> rows = {{"", 600s},
                                                                                {"timeout: 0\n", 600s},
                                                                                {"timeout: -3\n", 600s},
                                                                                {"timeout: 1e300\n", 168h},
                                                                                {"timeout: 0.5\n", 500ms}};
    size_t count = 0;
    for (const auto& [field, expected] : rows) {
        addEngine(u"sorter"_s, u"drop"_s, "name: Sorter\n" + field);
        library.reloadEngines(true);
        drop(u"x.txt"_s, field + "x");
        const auto call = asked(++count);
        EXPECT_EQ(call->request.timeout, expected) << field.constData();
        call->answer(u"ok"_s);
    }
}

TEST_F(EngineInboxTest, mayGoWhileItWaitsForAnotherProcess) {
    const QString records = scratch.path(u"library/inbox/sorter"_s);
    QDir().mkpath(records);
    const CaptureLock other(records);
    drop(u"a.txt"_s, "1");
    int waits = 0;
    QObject::connect(inbox.get(), &EngineInbox::waitsForTurn, [&waits] { ++waits; });
    const auto working = inbox->workThrough(std::make_shared<CancellationHandle>());
    clock.advance(5s);
    EXPECT_FALSE(working.isReady());
    EXPECT_EQ(waits, 1);
    inbox.reset();
    clock.advance(1s);
    EXPECT_TRUE(working.isReady());
    EXPECT_TRUE(scratch.has(u"drop/a.txt"_s));
}

TEST_F(EngineInboxTest, aResultThatFindsNoRoomIsKeptInHand) {
    drop(u"bill.txt"_s, "Pay.");
    const auto call = asked();
    // Nothing can be put in place of a folder.
    const QString result = scratch.path(u"library/inbox/sorter/2026-03-02-091405-bill/result.md"_s);
    QDir().mkpath(result + u"/full"_s);
    call->answer(u"Filed."_s);
    EXPECT_EQ(told.size(), 1);
    EXPECT_TRUE(told.first().startsWith(u"! Sorter is done, but its result can't be filed: "_s));
    EXPECT_EQ(inbox->running().size(), 1);
    // What the next start finds when this process ends now.
    InboxFolder(library.root(), u"sorter"_s).markInterrupted();
    EXPECT_TRUE(record(u"2026-03-02-091405-bill/error.txt"_s)
                    .startsWith("Failed: The agent was done, but its answer couldn't be filed: "));
    QDir(result).removeRecursively();
    clock.advance(15s);
    EXPECT_EQ(record(u"2026-03-02-091405-bill/result.md"_s), "Filed.");
    EXPECT_FALSE(scratch.has(u"library/inbox/sorter/2026-03-02-091405-bill/error.txt"_s));
    EXPECT_EQ(told.size(), 2);
    EXPECT_TRUE(inbox->running().isEmpty());
}

}  // namespace lumbro
