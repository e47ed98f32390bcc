#include "tests/recording/CaptureSessionFixture.h"

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::CaptureSessionTest;
using test::wait;

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
