#include "LumbroCore/AppLog.h"
#include "library/CaptureFiles.h"
#include "recording/CaptureTranscribers.h"
#include "tests/recording/CaptureSessionFixture.h"

#include <QDir>

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::CaptureSessionTest;
using test::wait;

TEST_F(CaptureSessionTest, soundOfATranscriberThatIsLateOrMissingCountsAsNotTranscribed) {
    for (const int failures : {0, 1, 2}) {
        SCOPED_TRACE(failures);
        recognizer->failures = failures;
        const auto session = started();
        hear(mic, 2);
        hear(system, 3);
        if (failures == 0) {
            recognizer->streams[0]->waiting = 1.5;
            recognizer->streams[0]->isStuck = true;
        }
        auto stopping = session->stop();
        clock.advance(2s);
        wait(std::move(stopping));
        // Me could not be heard, and after two failures nobody.
        EXPECT_NEAR(session->untranscribedSeconds(), failures == 0 ? 1.5 : failures == 1 ? 2 : 3, 0.05);
        wait(session->packed());
        record = library.createCapture(CaptureKind::meeting, u"Weekly"_s, {}, clock.now());
        recognizer->streams.clear();
    }
}

TEST_F(CaptureSessionTest, aStopThatWaitsForAllWordsIsEndedByTheUser) {
    CaptureSession::Ports made = ports();
    made.finishWait = FinishWait::allFinals;
    CaptureSession session(record, true, std::move(made));
    ASSERT_TRUE(wait(session.start()).has_value());
    hear(mic, 2);
    recognizer->streams[0]->waiting = 1.5;
    recognizer->streams[0]->isStuck = true;
    auto stopping = session.stop();
    clock.advance(30s);
    EXPECT_FALSE(stopping.isReady());
    EXPECT_TRUE(has(u".transcribing"_s)) << "what a kill leaves behind";
    EXPECT_FALSE(captureFiles::mayLackWords(record)) << "they are still to come";
    EXPECT_EQ(session.transcribers()->unheard(), 1.5);
    // A kill in the wait costs no more words than one before it.
    recognizer->say(0, u"came late"_s, 1, true);
    clock.advance(8s);
    EXPECT_TRUE(test::eventually([&] { return !written().isEmpty() && written() == session.segments(); }));
    session.transcribers()->stopWaiting();
    wait(std::move(stopping));
    EXPECT_EQ(session.untranscribedSeconds(), 1.5);
    EXPECT_FALSE(has(u".transcribing"_s));
    wait(session.packed());
}

TEST_F(CaptureSessionTest, aFolderThatIsGoneIsNamedAndNoFullDisk) {
    // The log counts what is said of a capture.
    record = library.createCapture(CaptureKind::meeting, u"Moved"_s, {}, clock.now().addDays(1));
    const auto session = started();
    recognizer->say(0, u"hello"_s, 1, true);
    QDir(record.folder).removeRecursively();
    wait(session->stop());
    ASSERT_TRUE(session->lostText().has_value());
    EXPECT_TRUE(session->lostText()->startsWith(record.folder + u" was moved or removed"_s));
    EXPECT_EQ(session->unsavedWords().size(), 1);
    wait(session->packed());
    EXPECT_FALSE(QFileInfo::exists(record.folder));
}

TEST_F(CaptureSessionTest, finalsAreFlushedEvery8SecondsAndOnlyWhenThereAreNewOnes) {
    const auto session = started();
    recognizer->say(0, u"hello  there"_s, 1.5, true);
    recognizer->say(1, u"not yet final"_s, 2, false);
    EXPECT_EQ(session->wordCount(), 2);
    EXPECT_EQ(session->volatileText().value(Speaker::them), u"not yet final"_s);
    clock.advance(7900ms);
    EXPECT_FALSE(has(u"transcript.json"_s));
    clock.advance(200ms);
    ASSERT_TRUE(test::eventually([this] { return has(u"transcript.md"_s); }));
    EXPECT_EQ(written(), session->segments());
    EXPECT_EQ(written().first().start, 1.5);
    test::processEvents();
    QFile::remove(file(u"transcript.json"_s));
    clock.advance(20s);
    test::processEvents();
    EXPECT_FALSE(has(u"transcript.json"_s));
}

TEST_F(CaptureSessionTest, aFailedFlushIsTriedAgainAndLoggedOnce) {
    const auto session = started();
    QDir().mkpath(file(u"transcript.json/in the way"_s));
    recognizer->say(0, u"hello"_s, 1, true);
    const auto flushAgain = [this](const auto& until) {
        return test::eventually([this, until] {
            clock.advance(8s);
            return until();
        });
    };
    // The second file is written although the first cannot be.
    ASSERT_TRUE(flushAgain([this] { return has(u"transcript.md"_s); }));
    QFile::remove(file(u"transcript.md"_s));
    ASSERT_TRUE(flushAgain([this] { return has(u"transcript.md"_s); }));
    QDir(file(u"transcript.json"_s)).removeRecursively();
    ASSERT_TRUE(flushAgain([this] { return has(u"transcript.json"_s); }));
    EXPECT_EQ(written().size(), 1);
    EXPECT_EQ(session->lostText(), std::nullopt);
    AppLog::flush();
    EXPECT_EQ(readTextFile(AppLog::url())->count(u"transcript of %1 not written"_s.arg(record.id())), 1);
}

TEST_F(CaptureSessionTest, aFlushThatComesLateDoesNotReplaceTheLastWords) {
    const auto session = started();
    recognizer->say(0, u"hello"_s, 1, true);
    clock.advance(8s);
    recognizer->say(0, u"goodbye"_s, 2, true);
    wait(session->stop());
    wait(session->packed());
    EXPECT_EQ(written().size(), 2);
}

TEST_F(CaptureSessionTest, wordsThatCannotBeWrittenAtTheEndAreTriedAgainAndTold) {
    for (const bool comesFree : {false, true}) {
        const auto session = started();
        hear(mic, 1);
        QDir().mkpath(file(u"transcript.json/in the way"_s));
        recognizer->say(0, u"hello"_s, 1, true);
        auto stopping = session->stop();
        EXPECT_TRUE(session->lostText().has_value());
        if (comesFree) {
            QDir(file(u"transcript.json"_s)).removeRecursively();
        }
        wait(std::move(stopping));
        EXPECT_EQ(session->lostText().has_value(), !comesFree);
        if (comesFree) {
            EXPECT_EQ(written().size(), 1);
        } else {
            EXPECT_TRUE(has(u"me.m4a"_s)) << "packing comes first, since it may make room";
            EXPECT_TRUE(
                session->lostText()->contains(u"the last words of this recording couldn't be saved"_s));
            EXPECT_TRUE(has(u"transcript.json/in the way"_s)) << "nothing that stood there is touched";
            record = library.createCapture(CaptureKind::meeting, u"Weekly"_s, {}, clock.now());
            recognizer->streams.clear();
        }
    }
}

TEST_F(CaptureSessionTest, whatAnotherProcessChangesInTheRecordStays) {
    const auto session = started();
    ContextLibrary other(library.root(), clock);
    CaptureRecord theirs = record;
    theirs.meta.title = u"Budget"_s;
    theirs.meta.memorizedAt = clock.now();
    ASSERT_TRUE(other.save(theirs));
    recognizer->say(0, u"hello"_s, 1, true);
    clock.advance(8s);
    ASSERT_TRUE(test::eventually([this] { return has(u"transcript.md"_s); }));
    EXPECT_TRUE(readTextFile(file(u"transcript.md"_s))->startsWith(u"# Budget\n"));
    const CaptureRecord stopped = wait(session->stop());
    EXPECT_EQ(stopped.meta.title, u"Budget"_s);
    EXPECT_EQ(stopped.meta.memorizedAt, clock.now().addSecs(-8));
    EXPECT_EQ(stopped.meta.sources, (QStringList{u"mic"_s, u"system"_s}));
    other.reloadCaptures();
    EXPECT_EQ(*other.record(record.id()), stopped);
    EXPECT_TRUE(readTextFile(file(u"transcript.md"_s))->startsWith(u"# Budget\n"));

    // A title that is given here is the newer one.
    session->setTitle(u"Plan"_s);
    EXPECT_EQ(library.record(record.id())->meta.title, u"Plan"_s);
}

}  // namespace
}  // namespace lumbro
