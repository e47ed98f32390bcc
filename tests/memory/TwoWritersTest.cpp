#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/LockedUpdate.h"
#include "memory/formats/MemoryLists.h"
#include "tests/support/Program.h"
#include "tests/support/ScratchFolder.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// What happens right before the names are exchanged, a moment that nothing outside can meet: an error of the
/// file system, or 0 to go on.
std::function<int()> onExchange;

}  // namespace

// In place of the system library's.
extern "C" int renameat2(int oldFolder, const char* oldPath, int newFolder, const char* newPath,
                         unsigned flags) noexcept {
    if (const int error = onExchange ? onExchange() : 0; error != 0) {
        errno = error;
        return -1;
    }
    return int(syscall(SYS_renameat2, oldFolder, oldPath, newFolder, newPath, flags));
}

namespace lumbro::test {
namespace {

TEST(LockedUpdateTest, whatAnEditorSavedMeanwhileIsKept) {
    const ScratchFolder folder;
    folder.write(u"list"_s, "one\n");
    int calls = 0;
    const auto written = updateFile(folder.path(u"list"_s), [&](const auto& bytes) {
        if (++calls <= 3) {
            folder.write(u"list"_s, *bytes + "typed " + QByteArray::number(calls) + "\n");
        }
        return std::optional(*bytes + "ours\n");
    });
    EXPECT_EQ(written, true);
    EXPECT_EQ(folder.read(u"list"_s), "one\ntyped 1\ntyped 2\ntyped 3\nours\n");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{u"list"_s});

    const auto never = updateFile(folder.path(u"list"_s), [&](const auto& bytes) {
        folder.write(u"list"_s, *bytes + ".");
        return std::optional(*bytes + "ours\n");
    });
    EXPECT_FALSE(never);
}

TEST(LockedUpdateTest, whatIsWrittenAtTheVeryMomentOfTheUpdateIsKept) {
    const ScratchFolder folder;
    const QString path = folder.path(u"list"_s);
    const auto append = [&](const QByteArray& line) {
        folder.write(u"list"_s, folder.read(u"list"_s) + line);
    };
    const auto save = [&] {
        folder.write(u"other"_s, "saved\n");
        ::rename(QFile::encodeName(folder.path(u"other"_s)).constData(), QFile::encodeName(path).constData());
    };
    const auto remove = [&] { QFile::remove(path); };
    struct Row {
        const char* before;
        /// One for each exchange.
        std::vector<std::function<void()>> meanwhile;
        const char* after;
    };
    const std::vector<Row> rows{
        {"one\n", {[&] { append("x\n"); }}, "one\nx\nours\n"},
        {"one\n", {[&] { append("x\n"); }, [&] { append("y\n"); }}, "one\nx\ny\nours\n"},
        {"one\n", {[&] { append("x\n"); }, {}, [&] { append("y\n"); }}, "one\nx\ny\nours\n"},
        {"one\n", {save}, "saved\nours\n"},
        {"one\n", {[&] { append("x\n"); }, save}, "saved\nours\n"},
        {"one\n", {remove}, "ours\n"},
        {"one\n", {[&] { append("x\n"); }, remove}, "ours\n"},
        {nullptr, {[&] { folder.write(u"list"_s, "new\n"); }}, "new\nours\n"},
    };
    for (const Row& row : rows) {
        QFile::remove(path);
        if (row.before != nullptr) {
            folder.write(u"list"_s, row.before);
        }
        size_t exchanges = 0;
        onExchange = [&] {
            const size_t number = exchanges++;
            if (number < row.meanwhile.size() && row.meanwhile.at(number)) {
                row.meanwhile.at(number)();
            }
            return 0;
        };
        const auto written = updateFile(
            path, [](const auto& bytes) { return std::optional(bytes.value_or(QByteArray()) + "ours\n"); });
        onExchange = {};
        EXPECT_EQ(written, true);
        EXPECT_GT(exchanges, row.meanwhile.size());
        EXPECT_EQ(folder.read(u"list"_s), row.after);
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"list"_s});
    }
}

TEST(LockedUpdateTest, aFileSystemThatExchangesNoNamesIsWrittenAllTheSame) {
    const ScratchFolder folder;
    const QString path = folder.path(u"list"_s);
    const FileChange change = [](const auto& bytes) {
        return std::optional(bytes.value_or(QByteArray()) + "ours\n");
    };
    for (const int refusal : {EINVAL, ENOSYS, EOPNOTSUPP}) {
        onExchange = [refusal] { return refusal; };
        EXPECT_EQ(updateFile(path, change), true);
    }
    onExchange = [] { return EACCES; };
    EXPECT_FALSE(updateFile(path, change));
    onExchange = {};
    EXPECT_EQ(folder.read(u"list"_s), "ours\nours\nours\n");
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"list"_s});
}

TEST(LockedUpdateTest, onlyWhatKilledUpdatesLeftBehindIsRemoved) {
    const ScratchFolder folder;
    const QStringList others{u".list"_s, u".lumbro-abcdef"_s, u".obsidian"_s,
                             u"list"_s,  u"list.backup"_s,    u"list.lumbro-abcdef"_s};
    for (const QString& name : others + QStringList{u".list.lumbro-Ab3dE9"_s}) {
        folder.write(name, "x");
    }
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_EQ(removeUnfinishedUpdates(folder.path(), now.addSecs(-60)), QStringList());
    folder.write(others[3], "xy");
    folder.write(u".gone.lumbro-000000"_s, "");
    folder.write(u".list.lumbro-111111"_s, "by hand");
    folder.write(u".gone.lumbro-222222"_s, "all there is");
    const QString trash =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files/"_s;
    EXPECT_EQ(removeUnfinishedUpdates(folder.path(), now.addSecs(60)),
              (QStringList{u".gone.lumbro-000000"_s, u".gone.lumbro-222222"_s, u".list.lumbro-111111"_s,
                           u".list.lumbro-Ab3dE9"_s}));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), others);
    EXPECT_EQ(readFile(trash + u".list.lumbro-111111"_s), "by hand");
    EXPECT_EQ(readFile(trash + u".gone.lumbro-222222"_s), "all there is");
    EXPECT_FALSE(QFileInfo::exists(trash + u".list.lumbro-Ab3dE9"_s));
}

TEST(LockedUpdateTest, aLinkStaysALinkAndAnUnchangedFileTheSame) {
    const ScratchFolder folder;
    folder.write(u"vault/list"_s, "one");
    ASSERT_TRUE(QFile::link(folder.path(u"vault/list"_s), folder.path(u"list"_s)));
    EXPECT_EQ(
        updateFile(folder.path(u"list"_s), [](const auto& bytes) { return std::optional(*bytes + "\n"); }),
        true);
    EXPECT_TRUE(QFileInfo(folder.path(u"list"_s)).isSymLink());
    EXPECT_EQ(folder.read(u"vault/list"_s), "one\n");

    const QDateTime before = QFileInfo(folder.path(u"list"_s)).metadataChangeTime();
    EXPECT_EQ(updateFile(folder.path(u"list"_s), [](const auto& bytes) { return bytes; }), false);
    EXPECT_EQ(QFileInfo(folder.path(u"list"_s)).metadataChangeTime(), before);
    EXPECT_FALSE(
        updateFile(folder.path(u"none/list"_s), [](const auto&) { return std::optional(QByteArray("x")); }));
}

TEST(LockedUpdateTest, theLockKeepsOthersOutUntilItEnds) {
    const ScratchFolder folder;
    {
        const FolderLock lock(folder.path());
        EXPECT_TRUE(lock.isLocked());
        EXPECT_FALSE(FolderLock(folder.path(), std::chrono::milliseconds(1)).isLocked());
    }
    EXPECT_TRUE(FolderLock(folder.path(), std::chrono::milliseconds(1)).isLocked());
    EXPECT_FALSE(FolderLock(folder.path(u"none"_s)).isLocked());
}

TEST(TwoWritersTest, processesThatWriteAtOnceLoseNoLine) {
    const ScratchFolder folder;
    constexpr int writers = 3;
    constexpr int rounds = 12;
    std::vector<std::unique_ptr<Program>> programs;
    programs.reserve(writers);
    for (int i = 0; i < writers; ++i) {
        programs.push_back(std::make_unique<Program>(QStringList{
            QStringLiteral(WRITER_PROGRAM), folder.path(), QString::number(i), QString::number(rounds)}));
    }
    for (const auto& program : programs) {
        EXPECT_EQ(program->wait(), 0);
    }
    EXPECT_EQ(memoryLists::promises(folder.read(u"memory/promises.md"_s)).size(), writers * rounds);
    EXPECT_EQ(memoryLists::ideas(folder.read(u"memory/ideas.md"_s)).size(), writers * rounds);
    EXPECT_EQ(folder.read(u"memory/people/dana-kim.md"_s).count("\n- "), writers * rounds);
}

}  // namespace
}  // namespace lumbro::test
