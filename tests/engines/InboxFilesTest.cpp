#include "tests/engines/InboxFixture.h"

#include <QTemporaryDir>

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace lumbro {

using namespace std::chrono_literals;
using test::eventually;

namespace {

/// Who gets a file, and what becomes of files of every kind.
class InboxFilesTest : public test::EngineInboxTest {};

}  // namespace

TEST_F(InboxFilesTest, twoProcessesOnOneLibraryNeverWorkForOneEngineAtOnce) {
    drop(u"a.txt"_s, "1", 30s);
    drop(u"b.txt"_s, "2", 20s);
    const auto first = asked();
    const auto other = makeInbox();
    other->markInterrupted();
    EXPECT_FALSE(scratch.has(u"library/inbox/sorter/2026-03-02-091405-a/error.txt"_s))
        << "somebody works on it";
    const auto cancel = std::make_shared<CancellationHandle>();
    auto working = other->workThrough(cancel);
    EXPECT_FALSE(working.isReady()) << "it waits for its turn";
    cancel->cancel();
    clock.advance(1s);
    const auto told = test::wait(std::move(working));
    ASSERT_EQ(told.size(), 1);
    EXPECT_EQ(told.first().state, InboxRun::State::waiting);
    EXPECT_TRUE(scratch.has(u"drop/b.txt"_s));
    first->answer(u"ok"_s);
    other->scan();
    EXPECT_TRUE(eventually([&] { return agent.calls.size() == 2; }));
}

TEST_F(InboxFilesTest, oneFileIsWorkedOnOnceWhenTwoLibrariesWatchItsFolder) {
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

TEST_F(InboxFilesTest, aFileThatIsGoneMeanwhileHoldsNobodyUp) {
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

TEST_F(InboxFilesTest, aFileThatGoesOnGrowingIsTold) {
    drop(u"slow.txt"_s, "first half");
    const auto call = asked();
    const QString place = u"library/inbox/sorter/2026-03-02-091405-slow/slow.txt"_s;
    scratch.write(place, "first half, second half");
    call->answer(u"ok"_s);
    EXPECT_EQ(told, (QStringList{u"Sorter: done. ok"_s,
                                 u"! slow.txt was still being written meanwhile; drop "
                                 "it in again for the rest."_s}));
}

TEST_F(InboxFilesTest, awkwardNamesAndContentsKeepTheFileAndTheRecords) {
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

TEST_F(InboxFilesTest, onlyTheBeginningOfALongTextIsTold) {
    const QString text = QString(199'999, u'a') + u"😀b"_s;
    drop(u"long.txt"_s, text.toUtf8() + QByteArray(3'000'000, 'c'));
    const QString told = asked()->request.context.section(u"## CONTENTS\n"_s, 1);
    EXPECT_EQ(told, QString(199'999, u'a') + u"😀"_s);
}

TEST_F(InboxFilesTest, aFileOnAnotherFileSystemIsMovedToo) {
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
