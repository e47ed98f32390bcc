#include "LibraryFixture.h"

#include <QDir>

#include <sys/stat.h>

using namespace lumbro;

namespace {

class CaptureStoreTest : public test::LibraryTest {
  protected:
    QStringList ids() const {
        QStringList ids;
        for (const CaptureRecord& record : m_library.captures()) {
            ids.append(record.id());
        }
        return ids;
    }
};

}  // namespace

TEST_F(CaptureStoreTest, theRootComesFromTheEnvironment) {
    EXPECT_EQ(ContextLibrary::rootFromEnvironment(), QDir::homePath() + u"/Quillet"_s);
    qputenv("QUILLET_ROOT", "");
    EXPECT_EQ(ContextLibrary::rootFromEnvironment(), QDir::homePath() + u"/Quillet"_s);
    qputenv("QUILLET_ROOT", "/somewhere/else/");
    EXPECT_EQ(ContextLibrary::rootFromEnvironment(), u"/somewhere/else"_s);
    qunsetenv("QUILLET_ROOT");
}

TEST_F(CaptureStoreTest, foldersAreNamedByMinuteAndKind) {
    const auto create = [&](CaptureKind kind, int minute, int second) {
        return m_library.createCapture(kind, u"T"_s, {}, at(9, minute, second)).id();
    };
    EXPECT_EQ(create(CaptureKind::meeting, 5, 10), u"2026-03-02-0905-meeting"_s);
    EXPECT_EQ(create(CaptureKind::meeting, 5, 50), u"2026-03-02-0905-meeting-2"_s);
    EXPECT_EQ(create(CaptureKind::meeting, 5, 20), u"2026-03-02-0905-meeting-3"_s);
    EXPECT_EQ(create(CaptureKind::thought, 5, 30), u"2026-03-02-0905-thought"_s);
    m_folder.write(u"captures/2026-03-02-0906-prep"_s, "a file");
    EXPECT_EQ(create(CaptureKind::prep, 6, 0), u"2026-03-02-0906-prep-2"_s);
    EXPECT_EQ(ids(), (QStringList{u"2026-03-02-0906-prep-2"_s, u"2026-03-02-0905-meeting-2"_s,
                                  u"2026-03-02-0905-thought"_s, u"2026-03-02-0905-meeting-3"_s,
                                  u"2026-03-02-0905-meeting"_s}));
    struct stat status{};
    ASSERT_EQ(stat(m_folder.path(u"captures/2026-03-02-0905-meeting"_s).toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(CaptureStoreTest, savingReplacesTheEntryInPlaceAndAddsNone) {
    const CaptureRecord older = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    m_library.createCapture(CaptureKind::meeting, u"B"_s, {}, at(10, 0));
    const test::SignalCounter changes(&m_library, &ContextLibrary::capturesChanged);
    CaptureRecord moved = older;
    moved.meta.startedAt = at(11, 0);
    EXPECT_TRUE(m_library.save(moved));
    EXPECT_TRUE(m_library.save(moved));
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(m_library.captures().last(), moved);

    m_folder.write(u"captures/other/x"_s, "");
    EXPECT_TRUE(m_library.save({m_folder.path(u"captures/other"_s), older.meta}));
    EXPECT_EQ(m_library.captures().size(), 2);
    m_library.reloadCaptures();
    EXPECT_EQ(m_library.captures().size(), 3);
    EXPECT_EQ(m_library.captures().first(), moved);
}

TEST_F(CaptureStoreTest, aFailedSaveIsToldAndLogged) {
    CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    EXPECT_TRUE(m_library.save(record));
    ASSERT_TRUE(QDir(record.folder).removeRecursively());
    record.meta.title = u"B"_s;
    const Result<> saved = m_library.save(record);
    ASSERT_FALSE(saved);
    EXPECT_TRUE(saved.error().message.startsWith(u"can't write meta.json"_s));
    EXPECT_TRUE(log().contains(record.id() + u": "_s + saved.error().message));
    EXPECT_EQ(m_library.captures().first(), record) << "the list still has what was to be saved";
}

TEST_F(CaptureStoreTest, aDeletedCaptureGoesToTheTrash) {
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    put(u"c1"_s, meta("meeting", true));
    EXPECT_TRUE(m_library.deleteCapture(record));
    EXPECT_EQ(ids(), QStringList{u"c1"_s}) << "what came from outside is listed now";
    EXPECT_TRUE(QFileInfo::exists(QDir::homePath() + u"/.local/share/Trash/files/"_s + record.id() +
                                  u"/meta.json"_s));
}

TEST_F(CaptureStoreTest, onlyItsOwnerDeletesARunningRecording) {
    CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    ContextLibrary other(m_folder.path(), m_clock, {}, {});
    const Result<> refused = other.deleteCapture(record);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message,
              u"2026-03-02-0900-meeting is being recorded; stop the recording first."_s);
    EXPECT_TRUE(m_folder.has(u"captures/2026-03-02-0900-meeting/meta.json"_s));
    EXPECT_TRUE(m_library.deleteCapture(record));

    record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    record.meta.endedAt = at(9, 1);
    EXPECT_TRUE(m_library.save(record));
    EXPECT_TRUE(other.deleteCapture(record));
}

TEST_F(CaptureStoreTest, withoutATrashItStillLeavesTheListUndestroyed) {
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    m_folder.write(u".trash/"_s + record.id() + u"/x"_s, "an earlier one");
    qputenv("XDG_DATA_HOME", "/proc/nowhere");
    EXPECT_TRUE(m_library.deleteCapture(record));
    qunsetenv("XDG_DATA_HOME");
    EXPECT_TRUE(m_library.captures().isEmpty());
    EXPECT_TRUE(m_folder.has(u".trash/"_s + record.id() + u"-2/meta.json"_s));
}

TEST_F(CaptureStoreTest, aFolderThatCannotBeMadeLosesNothingElse) {
    m_folder.write(u"captures"_s, "in the way");
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    EXPECT_EQ(record.meta.title, u"A"_s);
    EXPECT_TRUE(m_library.captures().isEmpty());
    EXPECT_TRUE(log().contains(u"can't make the capture folder 2026-03-02-0900-meeting"));
}

TEST_F(CaptureStoreTest, openingMakesTheFoldersAndMendsNothing) {
    put(u"c1"_s, meta("meeting", false));
    m_library.open();
    for (const QString& folder : {u"captures"_s, u"engines"_s, u"voices"_s}) {
        EXPECT_TRUE(m_folder.has(folder)) << folder.toStdString();
    }
    EXPECT_EQ(m_library.record(u"c1"_s)->meta.endedAt, std::nullopt);
    EXPECT_EQ(m_clock.timerCount(), 0U);
}

TEST_F(CaptureStoreTest, theWatchSeesEnginesAndVoicesWithinTwoSeconds) {
    int booted = 0;
    int reloaded = 0;
    ContextLibrary::Hooks hooks;
    hooks.bootMemory = [&] { ++booted; };
    hooks.reloadMemory = [&] { ++reloaded; };
    ContextLibrary library(m_folder.path(), m_clock, hooks, m_folder.path(u"built-ins"_s));
    library.bootstrap();
    library.bootstrap();
    const test::SignalCounter engines(&library, &ContextLibrary::enginesChanged);
    const test::SignalCounter voices(&library, &ContextLibrary::voicesChanged);
    m_folder.write(u"engines/mine.md"_s, "---\nname: Mine\n---\nDo it.");
    m_folder.write(u"voices/v.md"_s, "Short.");
    m_clock.advance(std::chrono::seconds(2));
    m_clock.advance(std::chrono::seconds(2));
    EXPECT_EQ(engines.count(), 1);
    EXPECT_EQ(voices.count(), 1);
    EXPECT_EQ(booted, 2);
    EXPECT_EQ(reloaded, 2);
}
