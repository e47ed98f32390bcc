#include "app/AppDelegate.h"
#include "app/Services.h"
#include "ask/AskService.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "memory/DailyIdeas.h"
#include "memory/MemoryStore.h"
#include "platform/fake/FakeAudioServer.h"
#include "tests/meetings/FakeCalendar.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

/// The application with a calendar and an agent that a test plays; now is Monday, 2 March 2026, 9:14:05.
struct MeetingWiringTest : testing::Test {
    MeetingWiringTest() : services(replacements()), delegate(services) {
        for (const QString& step :
             {u"speechAssets"_s, u"sessionImporter"_s, u"connectors"_s, u"librarianCatchUp"_s}) {
            delegate.startup().set(step, Startup::Step());
        }
        QObject::connect(&delegate, &AppDelegate::statusTitleChanged, &delegate,
                         [this] { titles.append(delegate.statusTitle() + u'|' + delegate.statusToolTip()); });
    }

    Services::Replacements replacements() {
        auto testClock = std::make_unique<test::TestClock>();
        auto scripted = std::make_unique<test::ScriptedAgent>();
        auto fake = std::make_unique<test::FakeCalendar>();
        clock = testClock.get();
        agent = scripted.get();
        calendar = fake.get();
        Services::Replacements made;
        made.clock = std::move(testClock);
        made.agent = std::move(scripted);
        made.calendar = std::move(fake);
        made.settings = std::make_unique<Settings>(scratch.path(u"settings.ini"_s));
        made.audioServer = std::make_unique<FakeAudioServer>();
        made.prepareSession = [](CaptureSession::Ports& ports) { ports.warmSpeech = {}; };
        made.libraryRoot = scratch.path(u"library"_s);
        return made;
    }
    QDateTime in(int seconds) const { return clock->now().addSecs(seconds); }
    const PillMode& mode() { return services.model().pill().mode(); }
    QStringList inbox() {
        QStringList ids;
        for (const InboxItem& item : services.model().pill().inbox()) {
            ids += inboxID(item);
        }
        return ids;
    }

    test::ScratchFolder scratch;
    test::TestClock* clock = nullptr;
    test::ScriptedAgent* agent = nullptr;
    test::FakeCalendar* calendar = nullptr;
    Services services;
    AppDelegate delegate;
    QStringList titles;
};

}  // namespace

TEST_F(MeetingWiringTest, theStatusLineFollowsTheDayAndTheCalendar) {
    calendar->put(u"standup"_s, u"Standup"_s, in(90), 1, {});
    delegate.applicationDidFinishLaunching();
    clock->advance(3min);
    EXPECT_EQ(titles, (QStringList{u" Standup in 2m| Standup in 2m"_s, u" Standup in 1m| Standup in 1m"_s,
                                   u" Standup · now| Standup · now"_s, u"|Lumbro"_s}));
    calendar->put(u"lunch"_s, u"Lunch"_s, in(7200), 60, {});
    calendar->tellChanged();
    EXPECT_EQ(delegate.statusTitle(), u" Lunch · 11:17 AM"_s) << "at once, not at the next look";
}

TEST_F(MeetingWiringTest, aMeetingIsShownJoinedAndRecordedOrWaitsInTheInbox) {
    calendar->put(u"sync"_s, u"Weekly sync"_s, in(310));
    delegate.applicationDidFinishLaunching();
    agent->calls.back()->answer(u"# Brief"_s);
    clock->advance(30s);
    const auto* shown = std::get_if<pill::Meeting>(&mode());
    ASSERT_NE(shown, nullptr);
    const MeetingOffer offer = shown->offer;
    ASSERT_TRUE(offer.briefID);
    clock->advance(45s);
    EXPECT_EQ(inbox(), QStringList{u"prep-"_s + *offer.briefID});
    services.model().asks().openHome();
    clock->advance(3min);
    EXPECT_TRUE(std::holds_alternative<pill::Meeting>(mode())) << "again at its start";
    services.model().joinMeeting(offer);
    ASSERT_TRUE(services.model().captures().isRecording());
    EXPECT_EQ(inbox(), QStringList());
    const CaptureMeta meta = services.model().captures().session()->record().meta;
    EXPECT_EQ(meta.title, u"Weekly sync"_s);
    EXPECT_EQ(meta.attendees, QStringList{u"Ann Lee"_s});
    EXPECT_EQ(meta.eventID, u"sync"_s);
}

TEST_F(MeetingWiringTest, aRecordingTakesTheMeetingThatIsOn) {
    calendar->put(u"sync"_s, u"Weekly sync"_s, in(-60)).url = u"https://zoom.us/j/1"_s;
    delegate.applicationDidFinishLaunching();
    services.model().captures().takeNotes(NoteSurface::beside);
    ASSERT_TRUE(services.model().captures().isRecording());
    EXPECT_EQ(services.model().captures().session()->record().meta.title, u"Weekly sync"_s);
}

TEST_F(MeetingWiringTest, askIsToldOfTheNextMeetings) {
    calendar->put(u"sync"_s, u"Weekly sync"_s, in(7200));
    delegate.applicationDidFinishLaunching();
    calendar->put(u"review"_s, u"Review"_s, in(9000), 30, {u"Bo"_s, u"Cy"_s});
    services.model().asks().setAskDraft(u"What is next?"_s);
    services.model().asks().submitAsk();
    ASSERT_FALSE(agent->calls.empty());
    EXPECT_TRUE(agent->calls.back()->request.context.contains(
        u"\n\n## MY NEXT MEETINGS\n- Weekly sync, Mar 2, 2026 at 11:14 AM, with Ann Lee\n"
        "- Review, Mar 2, 2026 at 11:44 AM, with Bo, Cy"))
        << qPrintable(agent->calls.back()->request.context);
}

TEST_F(MeetingWiringTest, promisesAreShownInTheMorningAndTickedFromThePill) {
    scratch.write(u"library/memory/promises.md"_s,
                  "# Promises\n\n- [ ] late · Me → Bo · due 2026-03-01 · 2026-02-20 ^p-aaaaaa\n");
    delegate.applicationDidFinishLaunching();
    const auto* shown = std::get_if<pill::Promises>(&mode());
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->promises, QStringList{u"p-aaaaaa"_s});
    clock->advance(30s);
    EXPECT_EQ(inbox(), QStringList{u"promises"_s});
    services.model().completePromise(u"p-aaaaaa"_s, {u"p-aaaaaa"_s});
    EXPECT_TRUE(test::eventually(
        [this] { return scratch.read(u"library/memory/promises.md"_s).contains("- [x] late"); }));
    EXPECT_EQ(inbox(), QStringList());
}

TEST_F(MeetingWiringTest, ideasAreShownInTheEvening) {
    delegate.applicationDidFinishLaunching();
    auto record = services.library().createCapture(CaptureKind::thought, u"Tea"_s, {}, clock->now());
    record.meta.endedAt = in(60);
    ASSERT_TRUE(services.library().save(record));
    clock->advance(8h);
    ASSERT_EQ(agent->calls.size(), 1U);
    services.model().asks().openHome();
    agent->calls.back()->answer(uR"({"ideas":[{"hook":"Why tea","angle":"It works"}]})"_s);
    ASSERT_TRUE(test::eventually([this] { return !services.dailyIdeas().isRunning(); }));
    const auto* shown = std::get_if<pill::Ideas>(&mode());
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->ideas, (QList<DailyIdea>{{u"Why tea"_s, u"It works"_s, record.id()}}));
    clock->advance(30s);
    EXPECT_EQ(inbox(), QStringList{u"ideas"_s});
}

}  // namespace lumbro
