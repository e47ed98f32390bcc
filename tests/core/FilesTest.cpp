#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/SpaceReserve.h"
#include "LumbroCore/Trash.h"
#include "tests/support/ScratchFolder.h"

#include <QDirIterator>
#include <QRegularExpression>

#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace lumbro;

namespace {

constexpr auto forOthers = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;

}  // namespace

TEST(AtomicFile, replacesWholeAndOnlyForTheUser) {
    const test::ScratchFolder folder;
    folder.write(u"a.md"_s, "old");
    QFile::setPermissions(folder.path(u"a.md"_s), QFile::ReadOwner | QFile::WriteOwner | forOthers);
    ASSERT_TRUE(writeFileAtomically(folder.path(u"a.md"_s), "new"));
    EXPECT_EQ(folder.read(u"a.md"_s), "new");
    EXPECT_EQ(QFile::permissions(folder.path(u"a.md"_s)) & forOthers, QFile::Permissions());
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST(AtomicFile, aFailedWriteLeavesTheOldFileAndNamesIt) {
    const test::ScratchFolder folder;
    folder.write(u"there/a.md"_s, "old");
    const auto written = writeFileAtomically(folder.path(u"missing/a.md"_s), "new");
    ASSERT_FALSE(written);
    EXPECT_TRUE(written.error().message.startsWith(u"can't write a.md: "_s))
        << qPrintable(written.error().message);
    EXPECT_FALSE(writeFileAtomically(folder.path(u"there"_s), "new"));
    EXPECT_EQ(folder.read(u"there/a.md"_s), "old");
}

TEST(AtomicFile, aDiskThatTakesOnlyTheBeginningLeavesTheOldFile) {
    const test::ScratchFolder folder;
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    for (const int size : {5000, 20000, 200000}) {
        folder.write(u"a.md"_s, "old");
        const rlimit small{4096, usual.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        const auto written = writeFileAtomically(folder.path(u"a.md"_s), QByteArray(size, 'x'));
        setrlimit(RLIMIT_FSIZE, &usual);
        EXPECT_FALSE(written) << size;
        EXPECT_EQ(folder.read(u"a.md"_s), "old") << size;
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1) << size;
    }
}

TEST(SpaceReserve, saysWhyThereIsNone) {
    const test::ScratchFolder folder;
    folder.write(u"file"_s, "x");
    EXPECT_TRUE(SpaceReserve(folder.path()).isHeld());
    EXPECT_EQ(SpaceReserve(folder.path()).problem(u"it"_s), QString());
    for (const QString& place : {u"none"_s, u"file"_s}) {
        const SpaceReserve reserve(folder.path(place));
        EXPECT_FALSE(reserve.isHeld()) << qPrintable(place);
        EXPECT_EQ(reserve.problem(u"it"_s),
                  u"there is no place for it, for %1 is no folder; make it one"_s.arg(folder.path(place)));
    }
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"file"_s});
}

TEST(AtomicFile, readersRefuseWhatIsNoPlainTextFile) {
    const test::ScratchFolder folder;
    folder.write(u"binary"_s, QByteArray("\xff\xfe\x00x", 4));
    folder.write(u"large"_s, QByteArray(100, 'x'));
    EXPECT_EQ(readTextFile(folder.path(u"binary"_s)), std::nullopt);
    EXPECT_EQ(readFile(folder.path(u"large"_s), 99), std::nullopt);
    EXPECT_EQ(readFile(folder.path(u"large"_s), 100)->size(), 100);
    EXPECT_EQ(readFile(folder.path()), std::nullopt);
    EXPECT_EQ(readFile(u"/dev/zero"_s), std::nullopt);
}

TEST(Trash, takesFoldersEvenInAHomeWithoutATrashAndKeepsTheirContent) {
    const test::ScratchFolder folder;
    folder.write(u"captures/one/meta.json"_s, "{}");
    const auto moved = moveToTrash(folder.path(u"captures/one"_s));
    ASSERT_TRUE(moved) << qPrintable(moved.error().message);
    EXPECT_FALSE(folder.has(u"captures/one"_s));
    EXPECT_EQ(readFile(*moved + u"/meta.json"_s), "{}");
    EXPECT_FALSE(QFileInfo::exists(u"files"_s));
    EXPECT_FALSE(moveToTrash(folder.path(u"captures/none"_s)));
}

TEST(AppLog, keepsLinesOfManyThreadsWholeAndInTheOrderOfEachThread) {
    constexpr int threads = 4;
    constexpr int lines = 50;
    {
        std::vector<std::jthread> writers;
        writers.reserve(threads);
        for (int thread = 0; thread < threads; ++thread) {
            writers.emplace_back([thread] {
                for (int i = 0; i < lines; ++i) {
                    AppLog::info(u"test"_s, u"%1 %2"_s.arg(thread).arg(i));
                }
            });
        }
    }
    AppLog::flush();
    static const QRegularExpression form(
        u"^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} INFO \\[test\\] (\\d) (\\d+)$"_s);
    std::array<int, threads> next{};
    const QString text = readTextFile(AppLog::url()).value_or(QString());
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const auto match = form.match(line);
        ASSERT_TRUE(match.hasMatch()) << qPrintable(line);
        const auto thread = static_cast<size_t>(match.captured(1).toInt());
        EXPECT_EQ(match.captured(2).toInt(), next.at(thread)++);
    }
    EXPECT_EQ(next, (std::array{lines, lines, lines, lines}));
    EXPECT_EQ(QFile::permissions(AppLog::url()) & forOthers, QFile::Permissions());
}

TEST(AppLog, tellsOnceWhatManyProcessesMeet) {
    const QDateTime begin = QDateTime::currentDateTime();
    const auto count = [](const QByteArray& text) {
        AppLog::flush();
        return readFile(AppLog::url()).value_or(QByteArray()).count(" ERROR [test] " + text + '\n');
    };
    for (int i = 0; i < 3; ++i) {
        AppLog::errorOnce(u"test"_s, u"bad.md is broken"_s, begin);
        EXPECT_EQ(count("bad.md is broken"), 1);
    }
    AppLog::errorOnce(u"test"_s, u"bad.md is"_s, begin);
    EXPECT_EQ(count("bad.md is"), 1);
    AppLog::errorOnce(u"test"_s, u"bad.md is broken"_s, QDateTime::currentDateTime().addSecs(1));
    EXPECT_EQ(count("bad.md is broken"), 2) << "it changed since";
}
