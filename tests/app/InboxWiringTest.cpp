#include "app/AppDelegate.h"
#include "app/Services.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "platform/fake/FakeAudioServer.h"
#include "recording/CallDetector.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro {

using namespace std::chrono_literals;
using test::eventually;

namespace {

/// The application with an engine that watches the folder "drop".
struct InboxWiringTest : testing::Test {
    InboxWiringTest() : services(replacements()), delegate(services) {
        scratch.write(u"library/engines/sorter.md"_s,
                      "---\nname: Sorter\nwatch: " + scratch.path(u"drop"_s).toUtf8() + "\n---\nSort it.\n");
        scratch.write(u"library/inbox/sorter/2026-03-01-080000-old/old.txt"_s, "cut off");
        for (const QString& step : {u"speechAssets"_s, u"connectors"_s, u"sessionImporter"_s,
                                    u"librarianCatchUp"_s, u"meetingPrep"_s}) {
            delegate.startup().set(step, Startup::Step());
        }
        delegate.applicationDidFinishLaunching();
    }

    Services::Replacements replacements() {
        Services::Replacements made;
        auto scripted = std::make_unique<test::ScriptedAgent>();
        auto testClock = std::make_unique<test::TestClock>();
        auto fakeServer = std::make_unique<FakeAudioServer>();
        agent = scripted.get();
        clock = testClock.get();
        server = fakeServer.get();
        made.agent = std::move(scripted);
        made.clock = std::move(testClock);
        made.audioServer = std::move(fakeServer);
        made.settings = std::make_unique<Settings>(scratch.path(u"settings.ini"_s));
        made.settings->set(u"calendarFolder"_s, scratch.path(u"calendars"_s));
        made.prepareSession = [](CaptureSession::Ports& ports) { ports.warmSpeech = {}; };
        made.libraryRoot = scratch.path(u"library"_s);
        return made;
    }
    void drop(const QString& name) const {
        scratch.write(u"drop/"_s + name, name.toUtf8());
        QFile file(scratch.path(u"drop/"_s + name));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(clock->now().addSecs(-10), QFileDevice::FileModificationTime));
    }
    void use(const QList<MicrophoneUser>& users) const {
        AudioServerState state = FakeAudioServer::usualState();
        state.microphoneUsers = users;
        server->set(state);
        clock->advance(4s);
    }
    const PillMode& mode() { return services.model().pill().mode(); }

    test::ScratchFolder scratch;
    test::ScriptedAgent* agent = nullptr;
    test::TestClock* clock = nullptr;
    FakeAudioServer* server = nullptr;
    Services services;
    AppDelegate delegate;
};

}  // namespace

TEST_F(InboxWiringTest, droppedFilesAreWorkedOnEvery15SecondsAndToldInThePill) {
    EXPECT_TRUE(scratch.has(u"library/inbox/sorter/2026-03-01-080000-old/error.txt"_s));
    drop(u"a.txt"_s);
    clock->advance(15s);
    ASSERT_TRUE(eventually([this] { return agent->calls.size() == 1; }));
    agent->calls.front()->answer(u"Sorted."_s);
    EXPECT_EQ(mode(), PillMode(pill::Message{u"Sorter: done. Sorted."_s, false}));
    clock->advance(4s);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    drop(u"b.txt"_s);
    clock->advance(15s);
    ASSERT_TRUE(eventually([this] { return agent->calls.size() == 2; }));
    agent->calls.back()->answer(fail(u"No."_s));
    EXPECT_EQ(mode(), PillMode(pill::Message{u"Sorter failed: No."_s, true}));
    clock->advance(9s);
    EXPECT_NE(mode(), PillMode(pill::Idle{}));
    clock->advance(1s);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    const auto started = test::wait(services.model().captures().startCapture(
        CaptureKind::thought, CaptureIntent::note, std::nullopt, NoteSurface::library));
    ASSERT_TRUE(started);
    drop(u"c.txt"_s);
    clock->advance(60s);
    EXPECT_TRUE(scratch.has(u"drop/c.txt"_s)) << "files wait for the end of a recording";
}

TEST_F(InboxWiringTest, aCallIsOfferedNotedAndItsEndTold) {
    use({{u"ZOOM VoiceEngine"_s, u"us.zoom.xos"_s}});
    EXPECT_EQ(mode(), PillMode(pill::OfferCapture{u"Zoom"_s}));
    services.model().captures().toggleCapture();
    ASSERT_TRUE(services.model().captures().isRecording());
    const CaptureMeta meta = services.model().captures().session()->record().meta;
    EXPECT_EQ(meta.kind, CaptureKind::meeting) << "a call is a meeting, not a note";
    EXPECT_EQ(meta.callApp, u"Zoom"_s);
    EXPECT_EQ(meta.callAppBundleID, u"us.zoom.xos"_s);
    use({});
    EXPECT_EQ(mode(), PillMode(pill::Recording{}));
    clock->advance(2s);
    EXPECT_EQ(mode(), PillMode(pill::CallEnded{}));
}

TEST_F(InboxWiringTest, aNativeApplicationTakesTheBrowsersPlaceInARecordedCall) {
    use({{u"Chromium"_s, u"com.google.Chrome"_s}});
    services.model().captures().toggleCapture();
    const auto app = [this] { return services.model().captures().session()->record().meta.callApp; };
    EXPECT_EQ(app(), u"Google Meet"_s);
    use({{u"Slack"_s, u"com.tinyspeck.slackmacgap"_s}});
    EXPECT_EQ(app(), u"Slack"_s);
}

TEST_F(InboxWiringTest, callsAreRecordedByThemselvesWhereTheUserSaysSo) {
    CallDetector::setStartAction(services.settings(), CallStartAction::record);
    use({{u"Slack"_s, u"com.tinyspeck.slackmacgap"_s}});
    EXPECT_TRUE(services.model().captures().isRecording());
}

}  // namespace lumbro
