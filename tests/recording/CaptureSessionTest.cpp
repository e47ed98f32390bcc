#include "LumbroCore/AppLog.h"
#include "library/ContextLibrary.h"
#include "recording/CaptureSession.h"
#include "recording/CaptureTranscribers.h"
#include "recording/audio/CafReader.h"
#include "tests/recording/Fakes.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QDir>

#include <gtest/gtest.h>

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::wait;

class CaptureSessionTest : public ::testing::Test {
  protected:
    CaptureSessionTest() {
        library.open();
        record = library.createCapture(CaptureKind::meeting, u"Weekly"_s, {}, clock.now());
        for (const auto& source : {mic, system}) {
            source->events = &events;
        }
    }

    CaptureSession::Ports ports() {
        CaptureSession::Ports made{.library = library, .clock = clock};
        made.microphone = std::make_unique<test::FakeSource>(mic);
        made.system = std::make_unique<test::FakeSource>(system);
        made.authorizeMicrophone = [this] { return authorize(); };
        made.warmSpeech = [this] { return warm(); };
        made.monotonic = [this] { return std::chrono::nanoseconds(std::llround(audioTime * 1e9)); };
        return made;
    }
    Task<bool> authorize() {
        events.append(u"authorize"_s);
        co_return isAllowed;
    }
    Task<std::optional<WarmSpeech>> warm() {
        events.append(u"warm"_s);
        co_return hasModel ? std::optional(WarmSpeech{u"en-US"_s, recognizer}) : std::nullopt;
    }
    std::unique_ptr<CaptureSession> make(bool withSystem = true) {
        return std::make_unique<CaptureSession>(record, withSystem, ports());
    }
    std::unique_ptr<CaptureSession> started(bool withSystem = true) {
        auto session = make(withSystem);
        EXPECT_TRUE(wait(session->start()).has_value());
        clock.advance(0ms);
        return session;
    }
    /// Hands a source audio of this loudness in real time.
    void hear(const std::shared_ptr<test::SourceState>& source, double seconds, float value = 0.5F) {
        const std::vector<float> piece(1600, value);
        for (int i = 0; i < std::lround(seconds * 10); ++i) {
            audioTime += 0.1;
            source->consumer({{16000, 1}, piece});
        }
    }
    TranscriptSegments written() const { return transcript::decode(*readFile(file(u"transcript.json"_s))); }
    QString file(const QString& name) const { return record.path(name); }
    bool has(const QString& name) const { return QFileInfo::exists(file(name)); }
    double secondsOf(const QString& name) const {
        CafReader reader;
        EXPECT_TRUE(reader.open(file(name)).has_value());
        return static_cast<double>(reader.frames()) / 16000;
    }

    test::ScratchFolder folder;
    test::TestClock clock;
    ContextLibrary library{folder.path(), clock};
    CaptureRecord record;
    QStringList events;
    bool isAllowed = true;
    bool hasModel = true;
    double audioTime = 0;
    std::shared_ptr<test::SourceState> mic = std::make_shared<test::SourceState>(u"mic"_s);
    std::shared_ptr<test::SourceState> system = std::make_shared<test::SourceState>(u"system"_s);
    std::shared_ptr<test::FakeRecognizer> recognizer = std::make_shared<test::FakeRecognizer>();
};

TEST_F(CaptureSessionTest, startsInOrderAndMarksWhatItRecords) {
    mic->onStart = [this] { EXPECT_TRUE(has(u"me.caf"_s) && has(u"them.caf"_s)); };
    const auto session = started();
    EXPECT_EQ(events, (QStringList{u"authorize"_s, u"warm"_s, u"mic start"_s, u"system start"_s}));
    EXPECT_EQ(library.record(record.id())->meta.sources, (QStringList{u"mic"_s, u"system"_s}));
    EXPECT_TRUE(session->systemAudioActive());
    EXPECT_TRUE(session->transcribing());
    EXPECT_TRUE(session->notice().isEmpty());
    EXPECT_EQ(recognizer->streams.size(), 2U);
    EXPECT_EQ(session->levels(), QList<float>(24, 0.F));
}

TEST_F(CaptureSessionTest, aRefusedMicrophoneFailsBeforeAnythingElse) {
    isAllowed = false;
    const auto session = make();
    const Result<> result = wait(session->start());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, FailureKind::micDenied);
    EXPECT_EQ(events, QStringList{u"authorize"_s});
}

TEST_F(CaptureSessionTest, aMicrophoneThatCannotStartFailsWithItsOwnSentence) {
    mic->answer = fail(FailureKind::micUnavailable, u"Couldn't start the microphone: gone"_s);
    const auto session = make();
    EXPECT_EQ(wait(session->start()).error().message, u"Couldn't start the microphone: gone"_s);
    EXPECT_FALSE(events.contains(u"system start"_s));
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(CaptureSessionTest, withoutASpeechModelTheAudioIsRecordedAlone) {
    hasModel = false;
    const auto session = started();
    EXPECT_EQ(session->notice(), u"The speech model is still downloading. Audio is being recorded."_s);
    EXPECT_FALSE(session->transcribing());
    hear(mic, 1);
    wait(session->stop());
    wait(session->packed());
    EXPECT_TRUE(has(u"me.m4a"_s));
    EXPECT_EQ(*readTextFile(file(u"transcript.md"_s)), u"# Weekly\n\n"_s);
}

TEST_F(CaptureSessionTest, withoutSystemAudioTheMicrophoneGoesOn) {
    system->answer = fail(FailureKind::systemAudio, u"no"_s);
    const auto session = started();
    EXPECT_FALSE(session->systemAudioActive());
    EXPECT_TRUE(session->notice().startsWith(u"Recording your mic only."_s));
    EXPECT_EQ(library.record(record.id())->meta.sources, QStringList{u"mic"_s});
}

TEST_F(CaptureSessionTest, aTranscriberThatCannotStartLeavesTheOtherAndTheAudio) {
    recognizer->failures = 1;
    const auto session = started();
    EXPECT_TRUE(session->notice().startsWith(u"Live transcript is off: "_s))
        << session->notice().toStdString();
    EXPECT_TRUE(session->transcribing());
    hear(mic, 1);
    session->halt();
    EXPECT_NEAR(secondsOf(u"me.caf"_s), 1, 0.01);
}

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
    EXPECT_EQ(session.transcribers()->unheard(), 1.5);
    // A kill in the wait costs no more words than one before it.
    recognizer->say(0, u"came late"_s, 1, true);
    clock.advance(8s);
    EXPECT_TRUE(test::eventually([&] { return !written().isEmpty() && written() == session.segments(); }));
    session.transcribers()->stopWaiting();
    wait(std::move(stopping));
    EXPECT_EQ(session.untranscribedSeconds(), 1.5);
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

TEST_F(CaptureSessionTest, theMeterShowsTheLouderTrack) {
    const auto session = started();
    int changes = 0;
    QObject::connect(session.get(), &CaptureSession::levelsChanged, [&changes] { ++changes; });
    hear(mic, 1, 0.001F);
    hear(system, 1, 1.F);
    clock.advance(84ms);
    EXPECT_EQ(session->levels().size(), 24);
    EXPECT_EQ(session->levels().last(), 1.F);
    EXPECT_EQ(changes, 1);
}

TEST_F(CaptureSessionTest, haltEndsTheAudioAndWritesTheLeftOverText) {
    const auto session = started();
    hear(mic, 1);
    recognizer->say(0, u"done"_s, 0.5, true);
    recognizer->say(0, u"still talking"_s, 1, false);
    clock.advance(3s);
    const size_t timers = clock.timerCount();
    session->halt();
    EXPECT_EQ(clock.timerCount(), timers - 1);
    EXPECT_EQ(events.last(), u"system stop"_s);
    EXPECT_EQ(session->record().meta.endedAt, clock.now());
    EXPECT_EQ(library.record(record.id())->meta.endedAt, clock.now());
    ASSERT_EQ(written().size(), 2);
    EXPECT_EQ(written().last().text, u"still talking"_s);
    EXPECT_EQ(written().last().start, 3);
    EXPECT_EQ(session->segments().size(), 1);

    hear(mic, 1);
    EXPECT_NEAR(secondsOf(u"me.caf"_s), 1, 0.01);
    clock.advance(3s);
    session->halt();
    EXPECT_EQ(session->record().meta.endedAt, clock.now().addSecs(-3));
}

TEST_F(CaptureSessionTest, stopKeepsTheLastWordsAndPacks) {
    const auto session = started();
    hear(mic, 1);
    hear(system, 1);
    recognizer->streams[1]->lastWords = u"see you all on Friday"_s;
    recognizer->say(0, u"see you all on Friday"_s, 1, false);
    session->halt();
    const CaptureRecord stopped = wait(session->stop());
    EXPECT_EQ(stopped, session->record());
    // What Me heard of the last words through the speakers is an echo.
    ASSERT_EQ(session->segments().size(), 1);
    EXPECT_EQ(session->segments().first().speaker, Speaker::them);
    EXPECT_TRUE(session->volatileText().isEmpty());
    EXPECT_EQ(written(), session->segments());
    wait(session->packed());
    EXPECT_TRUE(has(u"me.m4a"_s) && has(u"them.m4a"_s));
    EXPECT_FALSE(has(u"me.caf"_s) || has(u"them.caf"_s));
}

TEST_F(CaptureSessionTest, aTrackThatNeverHeardAnythingLeavesNoFile) {
    const auto session = started(false);
    EXPECT_FALSE(events.contains(u"system start"_s));
    hear(mic, 1);
    wait(session->stop());
    EXPECT_FALSE(has(u"them.caf"_s));
    wait(session->packed());
    EXPECT_FALSE(has(u"them.m4a"_s));
    EXPECT_TRUE(has(u"me.m4a"_s));
}

TEST_F(CaptureSessionTest, tracksAndTranscriptsShareOneTimeBase) {
    const auto session = started();
    hear(mic, 2);
    hear(system, 1);
    session->halt();
    EXPECT_NEAR(secondsOf(u"me.caf"_s), 2, 0.01);
    EXPECT_NEAR(secondsOf(u"them.caf"_s), 3, 0.01);
    EXPECT_NEAR(static_cast<double>(recognizer->streams[1]->heard.size()) / 16000, 3, 0.01);
}

TEST_F(CaptureSessionTest, aStopBeforeTheStartIsDoneStartsNothingMore) {
    const auto session = make();
    mic->onStart = [&session] { session->halt(); };
    EXPECT_FALSE(wait(session->start()).has_value());
    EXPECT_TRUE(mic->isStopped);
    EXPECT_FALSE(events.contains(u"system start"_s));
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(CaptureSessionTest, aSessionThatGoesWhileItRunsLeavesWholeTracks) {
    auto session = started();
    hear(mic, 1);
    session.reset();
    EXPECT_TRUE(mic->isStopped && system->isStopped);
    EXPECT_NEAR(secondsOf(u"me.caf"_s), 1, 0.01);
    hear(mic, 1);
    clock.advance(10s);
}

TEST_F(CaptureSessionTest, onlyANativeApplicationReplacesABrowserAsCallApp) {
    const auto session = started();
    const auto callApp = [&session] { return session->record().meta.callApp.value_or(QString()); };
    session->noteCallApp(u"Zoom"_s, u"us.zoom.xos"_s);
    EXPECT_EQ(callApp(), QString());
    session->setIsCall(true);
    session->noteCallApp(u"Chrome"_s, u"com.google.Chrome"_s);
    session->noteCallApp(u"Safari"_s, u"com.apple.Safari"_s);
    EXPECT_EQ(callApp(), u"Chrome"_s);
    session->noteCallApp(u"Zoom"_s, u"us.zoom.xos"_s);
    session->noteCallApp(u"Slack"_s, u"com.tinyspeck.slackmacgap"_s);
    EXPECT_EQ(callApp(), u"Zoom"_s);
    EXPECT_EQ(library.record(record.id())->meta.callAppBundleID, u"us.zoom.xos"_s);
}

TEST_F(CaptureSessionTest, aFedRecordingRunsOnTheAudiosTime) {
    CaptureSession::Ports made = ports();
    made.timing = CaptureTiming::audio;
    made.gate = std::make_shared<FeedGate>();
    const FilePlayback forMe = made.gate->playback(Speaker::me, false);
    const FilePlayback forThem = made.gate->playback(Speaker::them, false);
    CaptureSession session(record, true, std::move(made));
    ASSERT_TRUE(wait(session.start()).has_value());
    EXPECT_TRUE(forMe.mayFeed());
    hear(mic, 5);
    EXPECT_FALSE(forMe.mayFeed()) << "it is ahead of the other track";
    forThem.onEnd();
    EXPECT_TRUE(forMe.mayFeed());
    recognizer->streams[0]->waiting = 11;
    EXPECT_FALSE(forMe.mayFeed()) << "the recogniser is behind";
    recognizer->streams[0]->waiting = 0;
    int ended = 0;
    QObject::connect(&session, &CaptureSession::ended, [&ended] { ++ended; });
    forMe.onEnd();
    EXPECT_EQ(ended, 1);

    recognizer->say(0, u"left over"_s, 1, false);
    clock.advance(100s);
    const CaptureRecord stopped = wait(session.stop());
    EXPECT_EQ(stopped.meta.startedAt.msecsTo(*stopped.meta.endedAt), 5000);
    EXPECT_EQ(session.segments().last().start, 5);
    wait(session.packed());
}

}  // namespace
}  // namespace lumbro
