#include "LibraryFixture.h"
#include "library/CaptureLock.h"
#include "library/CaptureRepair.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QMutex>

#include <atomic>
#include <thread>

using namespace lumbro;

namespace {

class CaptureRepairTest : public test::LibraryTest {
  protected:
    static CaptureRecord recordOf(const ContextLibrary& library, const QString& id) {
        return library.record(id).value_or(CaptureRecord());
    }
};

}  // namespace

TEST_F(CaptureRepairTest, anUnfinishedCaptureGetsTheLaterOfTwoEnds) {
    put(u"spoken"_s, meta("meeting", false));
    m_folder.write(
        capture(u"spoken"_s, u"transcript.json"_s),
        transcript::encode({says(Speaker::me, 100, u"one two three"_s), says(Speaker::them, 40, u"four"_s)}));
    ASSERT_TRUE(changeDate(m_folder.path(capture(u"spoken"_s, u"transcript.json"_s)), at(14, 31)));
    put(u"flushed"_s, meta("thought", false));
    m_folder.write(capture(u"flushed"_s, u"transcript.json"_s), "broken");
    ASSERT_TRUE(changeDate(m_folder.path(capture(u"flushed"_s, u"transcript.json"_s)), at(14, 50)));
    put(u"noted"_s, meta("meeting", false));
    m_folder.write(capture(u"noted"_s, u"notes.md"_s), "mine");
    put(u"silent"_s, meta("meeting", false));
    put(u"absurd"_s, meta("meeting", false));
    m_folder.write(capture(u"absurd"_s, u"transcript.json"_s),
                   transcript::encode({says(Speaker::me, 1e300, u"one two three"_s)}));

    m_library.bootstrap();
    EXPECT_EQ(recordOf(m_library, u"spoken"_s).meta.endedAt, at(14, 31, 45));
    EXPECT_EQ(recordOf(m_library, u"flushed"_s).meta.endedAt, at(14, 50));
    EXPECT_EQ(recordOf(m_library, u"noted"_s).meta.endedAt, at(14, 31));
    EXPECT_TRUE(recordOf(m_library, u"absurd"_s).meta.endedAt->isValid());
    EXPECT_EQ(m_folder.read(capture(u"flushed"_s, u"transcript.json"_s)), "broken");
    EXPECT_TRUE(log().contains(u"INFO [library] recovered unfinished capture spoken segments=2\n"));

    EXPECT_FALSE(m_library.record(u"silent"_s));
    EXPECT_FALSE(m_folder.has(capture(u"silent"_s)));
    EXPECT_TRUE(QFileInfo::exists(QDir::homePath() + u"/.local/share/Trash/files/silent"_s));
    EXPECT_TRUE(log().contains(u"INFO [library] moved empty capture silent to the Trash\n"));
}

TEST_F(CaptureRepairTest, whatAnotherProcessHasFinishedSinceTheListWasReadKeepsItsEnd) {
    put(u"c1"_s, meta("meeting", false));
    m_library.open();
    put(u"c1"_s, meta("meeting", true));
    m_folder.write(capture(u"c1"_s, u"notes.md"_s), "mine");
    m_library.repair();
    EXPECT_EQ(recordOf(m_library, u"c1"_s).meta.endedAt, at(15, 0));
    EXPECT_FALSE(log().contains(u"recovered unfinished capture c1"));
}

TEST_F(CaptureRepairTest, aCaptureWithSoundIsNeverTrashed) {
    const struct {
        const char* file;
        int bytes;
        bool kept;
    } rows[] = {{"me.caf", 4096, false},       {"me.caf", 4098, true}, {"them.caf", 4098, true},
                {"me.m4a", 0, false},          {"me.m4a", 1, true},    {"them.m4a", 1, true},
                {"me.partial.m4a", 100, false}};
    for (const auto& row : rows) {
        for (const bool ended : {false, true}) {
            put(u"sound"_s, meta("meeting", ended));
            m_folder.write(capture(u"sound"_s, QString::fromLatin1(row.file)), QByteArray(row.bytes, 'x'));
            ContextLibrary library(m_folder.path(), m_clock, {}, {});
            library.bootstrap();
            EXPECT_EQ(library.record(u"sound"_s).has_value(), row.kept) << row.file << row.bytes;
            QDir(m_folder.path(capture(u"sound"_s))).removeRecursively();
        }
    }
}

TEST_F(CaptureRepairTest, aRecordingOfAnotherProcessIsLeftAlone) {
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"A"_s, {}, at(9, 0));
    m_folder.write(capture(record.id(), u"me.caf"_s), "");
    bool packed = false;
    {
        ContextLibrary::Hooks hooks;
        hooks.packTracks = [&](const QString&) { packed = true; };
        ContextLibrary other(m_folder.path(), m_clock, hooks, {});
        other.bootstrap();
        EXPECT_EQ(other.record(record.id())->meta.endedAt, std::nullopt);
    }
    EXPECT_FALSE(packed);

    CaptureRecord ended = record;
    ended.meta.endedAt = at(9, 1);
    EXPECT_TRUE(m_library.save(ended));
    EXPECT_TRUE(CaptureLock::isHeld(record.folder));  // Its audio is being packed.
    m_library.createCapture(CaptureKind::thought, u"B"_s, {}, at(9, 2));
    EXPECT_FALSE(CaptureLock::isHeld(record.folder));
}

TEST_F(CaptureRepairTest, aLockIsTakenOnceAndAfterAMomentaryLook) {
    m_folder.write(u"c/x"_s, "");
    const QString folder = m_folder.path(u"c"_s);
    {
        const CaptureLock first(folder);
        EXPECT_TRUE(first.isLocked());
        EXPECT_FALSE(CaptureLock(folder).isLocked());
        EXPECT_FALSE(CaptureLock(m_folder.path(u"none"_s)).isLocked());
    }
    std::atomic<bool> done = false;
    const std::jthread looking([&] {
        while (!done) {
            CaptureLock::isHeld(folder);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(CaptureLock(folder).isLocked());
    }
    done = true;
}

TEST_F(CaptureRepairTest, tracksOfACrashArePackedInTheBackground) {
    put(u"crashed"_s, meta("session"));
    m_folder.write(capture(u"crashed"_s, u"me.caf"_s), "");
    put(u"whole"_s, meta("session"));
    m_folder.write(capture(u"whole"_s, u"me.m4a"_s), "");
    QMutex mutex;
    QStringList packed;
    ContextLibrary::Hooks hooks;
    hooks.packTracks = [&](const QString& folder) {
        const QMutexLocker lock(&mutex);
        packed.append(folder);
    };
    ContextLibrary library(m_folder.path(), m_clock, hooks, {});
    library.bootstrap();
    EXPECT_TRUE(test::eventually([&] {
        const QMutexLocker lock(&mutex);
        return packed == QStringList{m_folder.path(capture(u"crashed"_s))};
    }));
}

TEST_F(CaptureRepairTest, leftoversOfKilledWritesGoAndNothingElse) {
    const QStringList gone{u"meta.json.aBcDeF"_s, u"transcript.json.ABCDEF"_s, u"notes.md.abcdef"_s,
                           u"handoffs/notes.md.abcdef"_s};
    const QStringList kept{u"meta.json"_s,          u"meta.json.backup1"_s, u"meta.json.abcdé"_s,
                           u"mine.md.abcdef"_s,     u"notes.md.abcde1"_s,   u"notes.md"_s,
                           u"me.partial.m4a"_s,     u"handoffs/notes.md"_s, u"handoffs/plan.txt.abcdef"_s,
                           u"transcript.md.young"_s};
    for (const QString& name : gone + kept) {
        m_folder.write(name, "x");
        ASSERT_TRUE(changeDate(m_folder.path(name), at(9, 0)));
    }
    m_folder.write(u"session.md.abcdef"_s, "x");  // Just being written.
    captureRepair::removeStaleFiles(m_folder.path(), at(9, 1));
    for (const QString& name : gone) {
        EXPECT_FALSE(m_folder.has(name)) << name.toStdString();
    }
    for (const QString& name : kept + QStringList{u"session.md.abcdef"_s}) {
        EXPECT_TRUE(m_folder.has(name)) << name.toStdString();
    }
}
