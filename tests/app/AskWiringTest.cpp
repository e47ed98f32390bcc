#include "app/AppDelegate.h"
#include "app/Services.h"
#include "ask/AskService.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "platform/fake/FakeAudioServer.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro {

namespace {

/// The application with an agent that a test plays.
struct AskWiringTest : testing::Test {
    AskWiringTest() : services(replacements()), delegate(services) {
        scratch.write(u"library/asks/2026-03-01-0900-old.md"_s,
                      "### Me · 2026-03-01T09:00:00Z\nOld\n### Lumbro\nYes\n");
        delegate.startup().set(u"speechAssets"_s, Startup::Step());
        delegate.startup().set(u"connectors"_s, Startup::Step());
        delegate.startup().set(u"sessionImporter"_s, Startup::Step());
        delegate.applicationDidFinishLaunching();
    }

    Services::Replacements replacements() {
        auto scripted = std::make_unique<test::ScriptedAgent>();
        agent = scripted.get();
        Services::Replacements made;
        made.clock = std::make_unique<test::TestClock>();
        made.agent = std::move(scripted);
        made.settings = std::make_unique<Settings>(scratch.path(u"settings.ini"_s));
        made.settings->set(u"calendarFolder"_s, scratch.path(u"calendars"_s));
        made.audioServer = std::make_unique<FakeAudioServer>();
        made.prepareSession = [](CaptureSession::Ports& ports) { ports.warmSpeech = {}; };
        made.libraryRoot = scratch.path(u"library"_s);
        return made;
    }
    test::ScriptedAgent::Call& ask(const QString& question) {
        services.model().asks().setAskDraft(question);
        services.model().asks().submitAsk();
        return *agent->calls.back();
    }

    test::ScratchFolder scratch;
    test::ScriptedAgent* agent = nullptr;
    Services services;
    AppDelegate delegate;
};

}  // namespace

TEST_F(AskWiringTest, aQuestionInThePillIsAnsweredWithTheCallThatIsRecorded) {
    EXPECT_EQ(services.ask().threads().value(0).title, u"Old"_s);
    const auto record = test::wait(services.model().captures().startCapture(
        CaptureKind::thought, CaptureIntent::note, std::nullopt, NoteSurface::library));
    auto& call = ask(u"What was that?"_s);
    EXPECT_TRUE(call.request.context.contains(
        u"\n\n## LIVE CALL (in progress, folder %1)\n(nothing said yet)\n\n"_s.arg(record->id())));
    call.answer(u"Milk.\nSOURCES: "_s + record->id());
    const auto* shown = std::get_if<pill::Answer>(&services.model().pill().mode());
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->answer.text, u"Milk."_s);
    EXPECT_EQ(shown->answer.captureIDs(), QStringList{record->id()});
    EXPECT_TRUE(scratch.has(u"library/asks/%1.md"_s.arg(shown->answer.thread)));
}

TEST_F(AskWiringTest, aQuestionTellsTheFreeTimesOfTheUsersCalendar) {
    // A Monday at a quarter past nine.
    scratch.write(u"calendars/office/one.ics"_s,
                  "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:1\r\nSUMMARY:Long\r\nDTSTART:20260302T113000\r\n"
                  "DTEND:20260302T163000\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
    services.model().asks().setAskDraft(u"When am I free?"_s);
    services.model().asks().submitAsk();
    ASSERT_TRUE(test::eventually([this] { return !agent->calls.empty(); }));
    EXPECT_TRUE(agent->calls.back()->request.context.contains(
        u"TODAY: Monday, March 2, 2026 at 9:14 AM\n\n## MY FREE TIMES (weekdays 9:00–17:00, my time zone)\n"
        u"- 2026-03-02 Mon: 10:30–11:30, 16:30–17:00\n- 2026-03-03 Tue: 09:00–17:00\n"_s));
}

TEST_F(AskWiringTest, closingTheFieldGivesTheQuestionUp) {
    auto& call = ask(u"What was that?"_s);
    services.model().asks().closeAsk();
    EXPECT_TRUE(call.cancel->isCancelled);
    EXPECT_TRUE(services.ask().pending().isEmpty());
}

}  // namespace lumbro
