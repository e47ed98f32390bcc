#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "platform/fake/FakeAudioServer.h"
#include "recording/CallApps.h"
#include "recording/CallDetector.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"

#include <gtest/gtest.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

const MicrophoneUser zoom{u"ZOOM VoiceEngine"_s, u"us.zoom.xos"_s};
const MicrophoneUser slack{u"Slack"_s, u"com.tinyspeck.slackmacgap"_s};
const MicrophoneUser chrome{u"Chromium"_s, u"com.google.Chrome"_s};
const MicrophoneUser firefox{u"Firefox"_s, u"org.mozilla.firefox"_s};
const MicrophoneUser recorder{u"Sound Recorder"_s, u"org.gnome.SoundRecorder"_s};

/// The detector on its timer, with an audio server that a test plays.
class CallDetectorTest : public testing::Test {
  protected:
    CallDetectorTest() {
        m_timer.start(clock, CallDetector::interval, Clock::Repeat::always, [this] { detector.tick(); });
        clock.advance(2s);
    }
    void use(const QList<MicrophoneUser>& users) {
        AudioServerState state = FakeAudioServer::usualState();
        state.microphoneUsers = users;
        server.set(state);
    }
    CallDetector::Ports ports() {
        CallDetector::Ports made;
        made.isRecording = [this] { return recording; };
        made.noteCallApp = [this](const MicrophoneUser& app) { happened += u"note "_s + app.name; };
        made.takeNotes = [this] { happened += u"record"_s; };
        made.offerCapture = [this](const QString& app) { happened += u"offer "_s + app; };
        made.callEnded = [this] { happened += u"ended"_s; };
        return made;
    }
    QStringList taken() { return std::exchange(happened, {}); }

    test::ScratchFolder scratch;
    test::TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    FakeAudioServer server;
    bool recording = false;
    QStringList happened;
    CallDetector detector{clock, settings, server, ports()};
    Timer m_timer;
};

}  // namespace

TEST(CallApps, meetingsAreKnownByTheirIdentifiers) {
    EXPECT_EQ(callApps::meetingName(u"us.zoom.xos"), u"Zoom"_s);
    EXPECT_EQ(callApps::meetingName(u"com.microsoft.teams2"), u"Teams"_s);
    EXPECT_EQ(callApps::meetingName(u"com.cisco.webexmeetingsapp"), u"Webex"_s);
    EXPECT_EQ(callApps::meetingName(u"com.google.Chrome.helper"), u"Google Meet"_s);
    EXPECT_FALSE(callApps::meetingName(u"org.mozilla.firefox"));
    EXPECT_FALSE(callApps::meetingName(u""));
    EXPECT_EQ(callApps::onCall({recorder, firefox}), firefox) << "whichever service it is";
    EXPECT_EQ(callApps::onCall({firefox, slack}), slack);
    EXPECT_FALSE(callApps::onCall({recorder}));
    EXPECT_EQ(callApps::onCall({recorder, chrome, zoom}),
              (MicrophoneUser{u"Google Meet"_s, u"com.google.Chrome"_s}));
    EXPECT_EQ(callApps::callApp(chrome, u"Teams"_s), (MicrophoneUser{u"Teams"_s, chrome.bundleID}));
    EXPECT_EQ(callApps::callApp(chrome, {}), chrome);
    EXPECT_EQ(callApps::callApp(zoom, u"Teams"_s), zoom) << "a native application knows itself best";
}

TEST(CallWatch, bridgesShortGapsAndEndsOnce) {
    CallWatch watch;
    const QList<MicrophoneUser> nobody;
    EXPECT_EQ(watch.look(nobody), CallWatch::Change());
    EXPECT_EQ(watch.look(QList{recorder, zoom}).started, (MicrophoneUser{u"Zoom"_s, zoom.bundleID}));
    watch.look(nobody);
    watch.look(nobody);
    EXPECT_EQ(watch.look(QList{zoom}), CallWatch::Change()) << "two looks without it are a gap";
    watch.look(nobody);
    watch.look(nobody);
    EXPECT_EQ(watch.look(nobody).ended, (MicrophoneUser{u"Zoom"_s, zoom.bundleID}));
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(watch.look(nobody), CallWatch::Change());
    }
    watch.look(QList{zoom});
    EXPECT_EQ(watch.look(QList{slack}).started, slack) << "the call has moved";
    EXPECT_EQ(watch.look(QList{slack, zoom}), CallWatch::Change());
}

TEST(CallWatch, aServerThatRestartsEndsNoCallUnlessItStaysAway) {
    CallWatch watch;
    watch.look(QList{zoom});
    for (int i = 0; i < CallWatch::blindTicksBorne; ++i) {
        EXPECT_EQ(watch.look(std::nullopt), CallWatch::Change()) << i;
    }
    EXPECT_EQ(CallWatch(watch).look(QList{zoom}), CallWatch::Change());
    watch.look(std::nullopt);
    watch.look(std::nullopt);
    EXPECT_TRUE(watch.look(std::nullopt).ended);
}

TEST_F(CallDetectorTest, offersNotesAndTellsTheEndOfACallThatIsRecorded) {
    use({recorder, zoom});
    clock.advance(2s);
    EXPECT_EQ(taken(), QStringList{u"offer Zoom"_s});
    EXPECT_EQ(detector.activeApp(), u"Zoom"_s);
    EXPECT_EQ(detector.activeBundleID(), zoom.bundleID);
    recording = true;
    use({});
    clock.advance(4s);
    use({zoom});
    clock.advance(2s);
    EXPECT_EQ(taken(), QStringList());
    use({slack});
    clock.advance(2s);
    EXPECT_EQ(taken(), QStringList{u"note Slack"_s});
    use({});
    clock.advance(60s);
    EXPECT_EQ(taken(), QStringList{u"ended"_s});
    EXPECT_TRUE(detector.activeApp().isEmpty());
    AppLog::flush();
    const QByteArray log = readFile(AppLog::url()).value_or(QByteArray());
    EXPECT_TRUE(log.contains("[calls] Zoom is using the mic recording=false\n"));
    EXPECT_TRUE(log.contains("[calls] Slack is using the mic recording=true\n"));
    EXPECT_TRUE(log.contains("INFO [calls] call ended\n"));
}

TEST_F(CallDetectorTest, doesWhatTheSettingsSay) {
    const std::vector<std::pair<CallStartAction, QStringList>> rows = {
        {CallStartAction::nothing, {}},
        {CallStartAction::record, {u"record"_s}},
        {CallStartAction::offer, {u"offer Zoom"_s}},
    };
    for (const auto& [action, expected] : rows) {
        CallDetector::setStartAction(settings, action);
        EXPECT_EQ(CallDetector::startAction(settings), action);
        use({zoom});
        clock.advance(2s);
        EXPECT_EQ(taken(), expected) << qPrintable(rawValue(action));
        CallDetector::setStartAction(settings, CallStartAction::offer);
        use({});
        clock.advance(6s);
        taken();
    }
    settings.set(u"offerCallCapture"_s, QVariant());
    EXPECT_EQ(CallDetector::startAction(settings), CallStartAction::offer) << "a missing value counts as on";
}

TEST_F(CallDetectorTest, switchedOffItKnowsOfNoCall) {
    use({zoom});
    clock.advance(2s);
    EXPECT_EQ(taken(), QStringList{u"offer Zoom"_s});
    int changes = 0;
    QObject::connect(&detector, &CallDetector::activeChanged, [&changes] { ++changes; });
    settings.set(u"offerCallCapture"_s, false);
    clock.advance(20s);
    EXPECT_TRUE(detector.activeApp().isEmpty());
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(taken(), QStringList()) << "the call has not ended";
    settings.set(u"offerCallCapture"_s, true);
    clock.advance(2s);
    EXPECT_EQ(taken(), QStringList{u"offer Zoom"_s});
}

TEST(CallDetector, looksForAServerAgainUntilThereIsOne) {
    const test::ScratchFolder scratch;
    test::TestClock clock;
    Settings settings(scratch.path(u"settings.ini"_s));
    FakeAudioServer server;
    server.isRunning = false;
    QStringList offered;
    CallDetector detector(clock, settings, server,
                          {.offerCapture = [&offered](const QString& app) { offered += app; }});
    Timer timer;
    timer.start(clock, CallDetector::interval, Clock::Repeat::always, [&detector] { detector.tick(); });
    AudioServerState state = FakeAudioServer::usualState();
    state.microphoneUsers = {zoom};
    server.set(state);
    clock.advance(60s);
    EXPECT_TRUE(offered.isEmpty());
    server.isRunning = true;
    clock.advance(12s);
    EXPECT_EQ(offered, QStringList{u"Zoom"_s});
}

}  // namespace lumbro
