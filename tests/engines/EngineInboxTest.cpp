#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "engines/EngineInbox.h"
#include "library/ContextLibrary.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QCryptographicHash>
#include <QTemporaryDir>

#include <cstdio>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

using namespace std::chrono_literals;
using test::eventually;

namespace {

Task<QString> reasonOf(QString text) {
    co_return text;
}

QString hashOf(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

/// A library with an engine that watches the folder "drop", on a test clock, with an agent that a test plays.
class EngineInboxTest : public testing::Test {
  protected:
    EngineInboxTest() {
        QDir().mkpath(scratch.path(u"drop"_s));
        addEngine(u"sorter"_s, u"drop"_s, "name: Sorter\nmodel: opus\n");
        library.open();
        inbox = makeInbox();
    }

    void addEngine(const QString& id, const QString& folder, const QByteArray& fields) const {
        scratch.write(u"library/engines/"_s + id + u".md"_s,
                      "---\n" + fields + "watch: " + scratch.path(folder).toUtf8() + "\n---\nSort it.\n");
    }
    std::unique_ptr<EngineInbox> makeInbox() {
        EngineInbox::Ports ports{.library = library, .agent = agent, .clock = clock};
        ports.isRecording = [this] { return recording; };
        ports.tell = [this](const QString& text, bool isError) {
            told += (isError ? u"! "_s : QString()) + text;
        };
        return std::make_unique<EngineInbox>(std::move(ports));
    }
    /// Puts a file into the watched folder that was written `age` ago.
    void drop(const QString& name, const QByteArray& bytes, std::chrono::seconds age = 10s,
              const QString& folder = u"drop"_s) const {
        const QString path = folder + u'/' + name;
        scratch.write(path, bytes);
        QFile file(scratch.path(path));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(clock.now().addSecs(-age.count()), QFileDevice::FileModificationTime));
    }
    /// Scans, and waits until the agent has been asked for the n-th time.
    std::shared_ptr<test::ScriptedAgent::Call> asked(size_t count = 1) {
        inbox->scan();
        EXPECT_TRUE(eventually([&] { return agent.calls.size() >= count; }));
        return agent.calls.size() == count ? agent.calls.back() : nullptr;
    }
    /// Scans, and waits until all that began has come to rest without the agent.
    void scanToRest() {
        inbox->scan();
        EXPECT_TRUE(eventually([&] { return inbox->running().isEmpty(); }));
    }
    QList<InboxRun> runs(const QString& engine = u"sorter"_s) const {
        return InboxFolder(library.root(), engine).runs();
    }
    QByteArray record(const QString& file) const { return scratch.read(u"library/inbox/sorter/"_s + file); }
    static QString log() {
        AppLog::flush();
        return QString::fromUtf8(readFile(AppLog::url()).value_or(QByteArray()));
    }
    bool wasLogged(const QString& line) const { return log().contains(u"[inbox] "_s + line + u'\n'); }

    test::ScratchFolder scratch;
    test::TestClock clock;
    test::ScriptedAgent agent;
    ContextLibrary library{scratch.path(u"library"_s), clock, {}, scratch.path(u"built-ins"_s)};
    bool recording = false;
    QStringList told;
    std::unique_ptr<EngineInbox> inbox;
};

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

TEST_F(EngineInboxTest, twoProcessesOnOneLibraryNeverWorkForOneEngineAtOnce) {
    drop(u"a.txt"_s, "1", 30s);
    drop(u"b.txt"_s, "2", 20s);
    const auto first = asked();
    const auto other = makeInbox();
    other->markInterrupted();
    EXPECT_FALSE(scratch.has(u"library/inbox/sorter/2026-03-02-091405-a/error.txt"_s))
        << "somebody works on it";
    const auto told = test::wait(other->workThrough(std::make_shared<CancellationHandle>()));
    ASSERT_EQ(told.size(), 1);
    EXPECT_EQ(told.first().state, InboxRun::State::waiting);
    EXPECT_TRUE(scratch.has(u"drop/b.txt"_s));
    first->answer(u"ok"_s);
    other->scan();
    EXPECT_TRUE(eventually([&] { return agent.calls.size() == 2; }));
}

TEST_F(EngineInboxTest, oneFileIsWorkedOnOnceWhenTwoLibrariesWatchItsFolder) {
    test::ScratchFolder elsewhere;
    ContextLibrary second(elsewhere.path(), clock, {}, scratch.path(u"built-ins"_s));
    elsewhere.write(u"engines/sorter.md"_s, scratch.read(u"library/engines/sorter.md"_s));
    second.open();
    EngineInbox other({.library = second, .agent = agent, .clock = clock});
    for (int i = 0; i < 20; ++i) {
        drop(u"%1.txt"_s.arg(i), QByteArray::number(i));
    }
    const auto cancel = std::make_shared<CancellationHandle>();
    Task<QList<InboxRun>> a = inbox->workThrough(cancel);
    Task<QList<InboxRun>> b = other.workThrough(cancel);
    size_t answered = 0;
    EXPECT_TRUE(eventually([&] {
        while (answered < agent.calls.size()) {
            const auto call = agent.calls[answered++];
            call->answer(u"ok"_s);
        }
        return a.isReady() && b.isReady();
    }));
    EXPECT_EQ(answered, 20U);
    qsizetype results = 0;
    for (const QString& root : {library.root(), second.root()}) {
        for (const InboxRun& run : InboxFolder(root, u"sorter"_s).runs()) {
            EXPECT_EQ(run.state, InboxRun::State::done);
            ++results;
        }
    }
    EXPECT_EQ(results, 20);
}

TEST_F(EngineInboxTest, aFileThatIsGoneMeanwhileHoldsNobodyUp) {
    drop(u"a.txt"_s, "1", 30s);
    drop(u"b.txt"_s, "2", 20s);
    drop(u"c.txt"_s, "3", 10s);
    const Task<QList<InboxRun>> all = inbox->workThrough(std::make_shared<CancellationHandle>());
    ASSERT_TRUE(eventually([this] { return agent.calls.size() == 1; }));
    QFile::rename(scratch.path(u"drop/b.txt"_s), scratch.path(u"drop/renamed.txt"_s));
    agent.calls.front()->answer(u"ok"_s);
    ASSERT_TRUE(eventually([this] { return agent.calls.size() == 2; }));
    EXPECT_TRUE(agent.calls.back()->request.context.contains(u"Name: c.txt\n"));
    EXPECT_EQ(runs().size(), 2) << "what was not there leaves no record";
    agent.calls.back()->answer(u"ok"_s);
    EXPECT_TRUE(eventually([&] { return all.isReady(); }));
}

TEST_F(EngineInboxTest, aFileThatGoesOnGrowingIsTold) {
    drop(u"slow.txt"_s, "first half");
    const auto call = asked();
    const QString place = u"library/inbox/sorter/2026-03-02-091405-slow/slow.txt"_s;
    scratch.write(place, "first half, second half");
    call->answer(u"ok"_s);
    EXPECT_EQ(told, (QStringList{u"Sorter: done. ok"_s,
                                 u"! slow.txt was still being written meanwhile; drop "
                                 "it in again for the rest."_s}));
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

TEST_F(EngineInboxTest, awkwardNamesAndContentsKeepTheFileAndTheRecords) {
    struct Row {
        QByteArray name;
        QString place;
        QByteArray bytes;
        bool isText;
    };
    const QByteArray longName = QByteArray(250, 'x') + ".txt";
    const std::vector<Row> rows = {
        {"result.md", u"file-result.md"_s, "mine", true},
        {"error.txt", u"file-error.txt"_s, "mine too", true},
        {"-rf --yes", u"-rf --yes"_s, "dash", true},
        {"two\nlines\x1b[2J.txt", u"two_lines_[2J.txt"_s, "control", true},
        {"\xff\xfe.bin", u"\uFFFD\uFFFD.bin"_s, QByteArray::fromHex("ff00fe"), false},
        {"100%2.txt", u"100%2.txt"_s, "%1 %2", true},
        {longName, QString::fromLatin1(longName.first(199)) + u".txt"_s, "long", true},
        {"zeros.img", u"zeros.img"_s, QByteArray(4096, '\0'), false},
        {"cut.txt", u"cut.txt"_s, "caf\xc3", false},
        {"empty", u"empty"_s, "", true},
    };
    size_t count = 0;
    for (const Row& row : rows) {
        const QByteArray raw = scratch.path(u"drop"_s).toUtf8() + '/' + row.name;
        std::FILE* file = std::fopen(raw.constData(), "wb");
        ASSERT_NE(file, nullptr);
        std::fwrite(row.bytes.constData(), 1, size_t(row.bytes.size()), file);
        std::fclose(file);
        const timespec old{clock.now().toSecsSinceEpoch() - 10, 0};
        const timespec times[] = {old, old};
        ::utimensat(AT_FDCWD, raw.constData(), times, 0);
        const auto call = asked(++count);
        ASSERT_TRUE(call) << qPrintable(row.place);
        const QString path = call->request.context.section(u'\n', 1, 1).sliced(6);
        EXPECT_EQ(QFileInfo(path).fileName(), row.place);
        EXPECT_EQ(readFile(path), row.bytes) << qPrintable(row.place);
        EXPECT_EQ(call->request.context.endsWith(u"\n\n## CONTENTS\n"_s + QString::fromUtf8(row.bytes)),
                  row.isText);
        EXPECT_EQ(call->request.context.endsWith(u"(not text; open it from the path if you need it)"_s),
                  !row.isText);
        call->answer(u"ok"_s);
    }
    for (const InboxRun& run : runs()) {
        EXPECT_EQ(run.state, InboxRun::State::done);
        EXPECT_FALSE(run.file.isEmpty());
    }
    EXPECT_EQ(runs().size(), qsizetype(rows.size()));
}

TEST_F(EngineInboxTest, onlyTheBeginningOfALongTextIsTold) {
    const QString text = QString(199'999, u'a') + u"😀b"_s;
    drop(u"long.txt"_s, text.toUtf8() + QByteArray(3'000'000, 'c'));
    const QString told = asked()->request.context.section(u"## CONTENTS\n"_s, 1);
    EXPECT_EQ(told.size(), 199'999) << "no half of a character";
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
    QDir(result).removeRecursively();
    clock.advance(15s);
    EXPECT_EQ(record(u"2026-03-02-091405-bill/result.md"_s), "Filed.");
    EXPECT_EQ(told.size(), 2);
    EXPECT_TRUE(inbox->running().isEmpty());
}

TEST_F(EngineInboxTest, aFileOnAnotherFileSystemIsMovedToo) {
    const QTemporaryDir far(u"/dev/shm/lumbro-drop-XXXXXX"_s);
    struct stat here = {};
    struct stat there = {};
    if (!far.isValid() || ::stat(far.path().toUtf8().constData(), &there) != 0 ||
        ::stat(scratch.path().toUtf8().constData(), &here) != 0 || here.st_dev == there.st_dev) {
        GTEST_SKIP() << "there is only one file system";
    }
    QDir(scratch.path(u"drop"_s)).removeRecursively();
    QFile::link(far.path(), scratch.path(u"drop"_s));
    const QByteArray bytes = QByteArray("far").repeated(1'000'000);
    drop(u"big.bin"_s, bytes);
    const auto call = asked();
    EXPECT_EQ(record(u"2026-03-02-091405-big/big.bin"_s), bytes);
    EXPECT_TRUE(QDir(far.path()).isEmpty());
    EXPECT_EQ(QDir(scratch.path(u"library/inbox/sorter/2026-03-02-091405-big"_s))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"big.bin"_s});
    call->answer(u"ok"_s);
}

}  // namespace lumbro
