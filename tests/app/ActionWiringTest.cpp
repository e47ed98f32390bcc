#include "actions/ActionRunner.h"
#include "actions/Connectors.h"
#include "app/AppDelegate.h"
#include "app/Services.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "platform/fake/FakeAudioServer.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QFile>

#include <gtest/gtest.h>

namespace lumbro {

namespace {

/// The application, whose Claude Code knows one connector and whose prompts a test answers.
struct ActionWiringTest : testing::Test {
    ActionWiringTest() : services(replacements()), delegate(services) {
        for (const char* step : {"speechAssets", "sessionImporter", "librarianCatchUp"}) {
            delegate.startup().set(QString::fromLatin1(step), Startup::Step());
        }
        scratch.write(u"claude"_s,
                      "#!/bin/sh\necho '{\"subtype\":\"init\",\"mcp_servers\":[{\"name\":\"claude.ai "
                      "Linear\",\"status\":\"connected\"}]}'\n");
        QFile::setPermissions(scratch.path(u"claude"_s), QFile::ReadOwner | QFile::ExeOwner);
        services.settings().set(u"claudeExecutablePath"_s, scratch.path(u"claude"_s));
    }

    Services::Replacements replacements() {
        auto scripted = std::make_unique<test::ScriptedAgent>();
        agent = scripted.get();
        Services::Replacements made;
        made.clock = std::make_unique<test::TestClock>();
        made.agent = std::move(scripted);
        made.settings = std::make_unique<Settings>(scratch.path(u"settings.ini"_s));
        made.audioServer = std::make_unique<FakeAudioServer>();
        made.libraryRoot = scratch.path(u"library"_s);
        return made;
    }
    void start() {
        delegate.applicationDidFinishLaunching();
        ASSERT_TRUE(test::eventually([this] { return !services.connectors().checking(); }));
        ASSERT_EQ(services.connectors().all().size(), 1);
    }

    test::ScratchFolder scratch;
    test::ScriptedAgent* agent = nullptr;
    Services services;
    AppDelegate delegate;
};

}  // namespace

TEST_F(ActionWiringTest, whatAKilledProcessLeftIsInTheInboxAtTheNextStart) {
    const QString id = u"2026-03-01-0900-linear-0123ab"_s;
    scratch.write(u"library/actions/%1.json"_s.arg(id),
                  R"({"id":")" + id.toUtf8() +
                      R"(","key":"0123ab4567890123","app":"Linear","connectorID":"l",)"
                      R"("icon":"","instruction":"","content":"c","about":"","status":"running",)"
                      R"("started":"2026-03-01T08:00:00Z","summary":"","items":[]})");
    start();
    EXPECT_EQ(services.model().pill().inbox(), QList<InboxItem>{pill::Action{id}});
    EXPECT_TRUE(scratch.read(u"library/actions/%1.json"_s.arg(id)).contains("\"interrupted\""));
    EXPECT_TRUE(agent->calls.empty());
}

TEST_F(ActionWiringTest, aRunThatACommandSendsIsShown) {
    start();
    ActionRunner other(
        services.clock(), *agent, [](const QString&) { return std::nullopt; }, services.library().root());
    const auto run =
        other.submit({.id = u"l"_s, .app = u"Linear"_s}, {.instruction = u"Add"_s, .content = u"c"_s});
    ASSERT_TRUE(run);
    static_cast<test::TestClock&>(services.clock()).advance(std::chrono::seconds(2));
    EXPECT_EQ(services.actionRunner().run(run->id), *run);
    EXPECT_TRUE(services.model().pill().inbox().isEmpty());
}

TEST_F(ActionWiringTest, aFinishedRunShowsInThePillAndQuestionsKnowTheApps) {
    start();
    ASSERT_TRUE(services.actionRunner().submit(services.connectors().all().first(),
                                               {.instruction = u"Add"_s, .content = u"c"_s}));
    ASSERT_EQ(agent->calls.size(), 1U);
    agent->calls.front()->answer(u"RESULT: {\"status\":\"failed\",\"summary\":\"No\"}"_s);
    EXPECT_TRUE(services.model().pill().shows<pill::Action>());
    services.model().asks().setAskDraft(u"What?"_s);
    services.model().asks().submitAsk();
    ASSERT_TRUE(test::eventually([this] { return agent->calls.size() == 2; }));
    EXPECT_TRUE(agent->calls.back()->request.context.contains(
        u"\n## APPS I CAN ACT IN\nReminders, Mail, Calendar, Linear\n"_s));
}

}  // namespace lumbro
