#include "LumbroCore/LockedUpdate.h"
#include "memory/formats/MemoryLists.h"
#include "tests/support/Program.h"
#include "tests/support/ScratchFolder.h"

#include <QDir>

#include <chrono>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

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
