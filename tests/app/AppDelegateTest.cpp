#include "app/AppDelegate.h"
#include "app/Services.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "memory/MemoryStore.h"
#include "platform/fake/FakeAudioServer.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

/// The application's own services, on a fake audio server and with an agent that a test plays.
class AppDelegateTest : public testing::Test {
  protected:
    AppDelegateTest() : services(replacements()), delegate(services) {
        delegate.startup().set(u"speechAssets"_s, Startup::Step());
        delegate.startup().set(u"connectors"_s, Startup::Step());
        QObject::connect(&delegate, &AppDelegate::readyToTerminate, [this] { ++ready; });
        QObject::connect(&delegate, &AppDelegate::terminationDelayed, [this] { ++delayed; });
    }

    Services::Replacements replacements() {
        auto testClock = std::make_unique<test::TestClock>();
        auto scripted = std::make_unique<test::ScriptedAgent>();
        clock = testClock.get();
        agent = scripted.get();
        Services::Replacements made;
        made.clock = std::move(testClock);
        made.agent = std::move(scripted);
        made.settings = std::make_unique<Settings>(scratch.path(u"settings.ini"_s));
        made.audioServer = std::make_unique<FakeAudioServer>();
        made.prepareSession = [](CaptureSession::Ports& ports) { ports.warmSpeech = {}; };
        made.libraryRoot = scratch.path(u"library"_s);
        return made;
    }
    QString startRecording(const QByteArray& notes = "milk") {
        const auto record = test::wait(services.model().captures().startCapture(
            CaptureKind::thought, CaptureIntent::note, std::nullopt, NoteSurface::library));
        scratch.write("library/captures/" + record->id() + "/notes.md", notes);
        return record->id();
    }
    static bool isMemory(const test::ScriptedAgent::Call& call) {
        return call.request.systemPrompt.contains(u"librarian");
    }

    test::ScratchFolder scratch;
    test::TestClock* clock = nullptr;
    test::ScriptedAgent* agent = nullptr;
    Services services;
    AppDelegate delegate;
    int ready = 0;
    int delayed = 0;
};

TEST_F(AppDelegateTest, aRecordingIsFinishedBeforeTheProcessEnds) {
    delegate.applicationDidFinishLaunching();
    const QString id = startRecording();
    delegate.terminate();
    delegate.terminate();
    EXPECT_EQ(delayed, 1);
    EXPECT_TRUE(test::eventually([this] { return ready > 0; }));
    EXPECT_EQ(ready, 1);
    EXPECT_FALSE(services.model().captures().isRecording());
    EXPECT_TRUE(services.library().record(id)->meta.endedAt.has_value());
    EXPECT_TRUE(scratch.has("library/captures/" + id + "/transcript.md"));
    EXPECT_EQ(agent->calls.size(), 1U) << "the naming has begun, and nobody waits for it";
}

TEST_F(AppDelegateTest, aStopUnderWayIsWaitedForToo) {
    delegate.applicationDidFinishLaunching();
    startRecording();
    services.model().captures().toggleCapture();
    const bool finishing = !services.model().captures().finishingCaptureID().isEmpty();
    delegate.terminate();
    EXPECT_EQ(delayed, finishing ? 1 : 0);
    EXPECT_TRUE(test::eventually([this] { return ready == 1; }));
    EXPECT_TRUE(services.model().captures().finishingCaptureID().isEmpty());
}

TEST_F(AppDelegateTest, engineRunsDoNotHoldTheQuitBack) {
    delegate.applicationDidFinishLaunching();
    const CaptureRecord record =
        services.library().createCapture(CaptureKind::thought, u"Weekly"_s, {}, clock->now());
    Engine engine;
    engine.id = u"email"_s;
    services.model().runs().handOff(engine, record.id());
    delegate.terminate();
    EXPECT_EQ(ready, 1);
    EXPECT_EQ(delayed, 0);
}

TEST_F(AppDelegateTest, theMemoryIsCaughtUpAtTheStartAndFollowsItsFiles) {
    const QString folder = u"library/captures/2026-03-01-0900-meeting"_s;
    scratch.write(folder + u"/meta.json"_s,
                  R"({"endedAt":"2026-03-01T09:00:00Z","kind":"meeting","sources":["mic"],)"
                  R"("startedAt":"2026-03-01T08:00:00Z","title":"Weekly"})");
    scratch.write(folder + u"/notes.md"_s, QByteArray("word ").repeated(20));
    delegate.applicationDidFinishLaunching();
    ASSERT_EQ(agent->calls.size(), 1U);
    ASSERT_TRUE(isMemory(*agent->calls.front()));
    agent->calls.front()->answer(uR"({"people":[{"name":"Ann Lee"}]})"_s);
    EXPECT_EQ(services.memory().people().size(), 1);
    EXPECT_TRUE(services.library().captures().first().meta.memorizedAt.has_value());
    scratch.write(u"library/memory/people/bo.md"_s, "---\nname: Bo\n---\n");
    clock->advance(2s);
    EXPECT_EQ(services.memory().people().size(), 2);
}

TEST_F(AppDelegateTest, aRecordingsEndUpdatesTheMemoryAndIsWaitedFor) {
    delegate.applicationDidFinishLaunching();
    const QString id = startRecording(QByteArray("word ").repeated(20));
    QStringList shown;
    QObject::connect(&services.model().captures(), &CaptureFlow::finishStep,
                     [&shown](const QString& step) { shown += step; });
    test::wait(services.model().captures().stopCapture());
    EXPECT_TRUE(shown.contains(u"Updating the memory…"_s));
    const auto calls = agent->calls;
    ASSERT_EQ(std::ranges::count_if(calls, [](const auto& call) { return isMemory(*call); }), 1);
    bool isFinished = false;
    const Task<> finished = [](Task<> settled, bool* done) -> Task<> {
        co_await settled;
        *done = true;
    }(services.model().finished(), &isFinished);
    for (const auto& call : calls) {
        EXPECT_FALSE(isFinished);
        call->answer(isMemory(*call) ? u"{}"_s : u"Milk"_s);
    }
    EXPECT_TRUE(test::eventually([&isFinished] { return isFinished; }));
    EXPECT_TRUE(services.library().record(id)->meta.memorizedAt.has_value());
}

TEST_F(AppDelegateTest, aRecordingOfTooFewWordsForTheMemoryTellsOfNoUpdate) {
    delegate.applicationDidFinishLaunching();
    startRecording("milk and eggs");
    QStringList shown;
    QObject::connect(&services.model().captures(), &CaptureFlow::finishStep,
                     [&shown](const QString& step) { shown += step; });
    test::wait(services.model().captures().stopCapture());
    EXPECT_FALSE(shown.isEmpty());
    EXPECT_FALSE(shown.contains(u"Updating the memory…"_s));
}

TEST_F(AppDelegateTest, aMeetingKnowsItsApplicationAlsoWhileNobodyLooksForCalls) {
    services.settings().set(u"offerCallCapture"_s, false);
    delegate.applicationDidFinishLaunching();
    AudioServerState state = FakeAudioServer::usualState();
    state.microphoneUsers = {{u"zoom"_s, u"us.zoom.xos"_s}};
    dynamic_cast<FakeAudioServer&>(services.audioServer()).set(state);
    const auto record = test::wait(services.model().captures().startCapture(
        CaptureKind::meeting, CaptureIntent::meeting, std::nullopt, NoteSurface::library));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->meta.callApp, u"Zoom"_s);
    EXPECT_EQ(record->meta.callAppBundleID, u"us.zoom.xos"_s);
}

TEST_F(AppDelegateTest, servicesTouchTheLibraryOnlyWhenItIsOpened) {
    services.model();
    EXPECT_FALSE(scratch.has(u"library"_s));
    delegate.applicationDidFinishLaunching();
    EXPECT_TRUE(scratch.has(u"library/captures"_s));
    EXPECT_TRUE(services.library().engine(u"notes"_s).has_value());
}

}  // namespace

}  // namespace lumbro
