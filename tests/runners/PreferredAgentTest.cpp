#include "runners/CommandProvider.h"
#include "runners/PreferredAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QFile>

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

struct NamedAgent final : AgentProvider {
    explicit NamedAgent(QString text) : name(std::move(text)) {}
    Task<Result<QString>> run(AgentRequest, std::shared_ptr<CancellationHandle>) override {
        // As a value of its own: returning the member itself would move it out.
        co_return QString(name);
    }

    QString name;
};

struct PreferredAgentTest : ::testing::Test {
    PreferredAgentTest()
        : settings(folder.path(u"settings.ini"_s)), preferred(settings, clock, providers, claude, codex) {}

    QString answer(AgentRequest request = {.instruction = u"Go."_s}) {
        return test::wait(preferred.run(std::move(request), nullptr)).value_or(u"failed"_s);
    }

    test::ScratchFolder folder;
    test::TestClock clock;
    Settings settings;
    CommandProviders providers;
    NamedAgent claude{u"claude"_s};
    NamedAgent codex{u"codex"_s};
    PreferredAgent preferred;
};

}  // namespace

TEST_F(PreferredAgentTest, theChoiceIsMadeAnewAtEachRun) {
    EXPECT_EQ(answer(), u"claude");
    settings.set(u"aiProvider"_s, u"Codex"_s);
    EXPECT_EQ(answer(), u"claude");
    settings.set(u"aiProvider"_s, u"codex"_s);
    EXPECT_EQ(answer(), u"codex");
    EXPECT_EQ(answer({.requireTools = u"mcp__slack"_s}), u"claude");

    providers.registerProvider(AIProvider::codex, std::make_shared<NamedAgent>(u"registered"_s));
    EXPECT_EQ(answer(), u"registered");
    settings.set(u"customCommand"_s, u"/bin/echo custom"_s);
    EXPECT_EQ(answer(), u"custom");
    EXPECT_EQ(answer({.connectors = AgentConnectors{}}), u"claude");
    EXPECT_EQ(answer({.provider = AIProvider::codex}), u"registered");
    EXPECT_EQ(answer({.provider = AIProvider::claude}), u"claude");

    settings.set(u"customCommand"_s, u"  "_s);
    providers.registerProvider(AIProvider::codex, nullptr);
    EXPECT_EQ(answer(), u"codex");
}

TEST(CommandProvider, theCommandSeesThePromptAndItsOutputIsTheAnswer) {
    const test::ScratchFolder folder;
    test::TestClock clock;
    folder.write(u"my tool"_s,
                 "#!/bin/sh\n"
                 "echo \"$1|$2|$LUMBRO_SYSTEM_PROMPT|$LUMBRO_INSTRUCTION|$LUMBRO_MODEL|\"; cat\n");
    QFile::setPermissions(folder.path(u"my tool"_s), QFile::ReadOwner | QFile::ExeOwner);
    CommandProvider agent(clock, u"\"%1\" --fast \"two words\""_s.arg(folder.path(u"my tool"_s)));
    const AgentRequest request{.systemPrompt = u"Be brief."_s,
                               .instruction = u"Sum up."_s,
                               .context = u"Me: hi\n"_s,
                               .model = u"haiku"_s};
    EXPECT_EQ(test::wait(agent.run(request, nullptr)),
              u"--fast|two words|Be brief.|Sum up.|haiku|\nBe brief.\n\nSum up.\n\nMe: hi"_s);

    // A prompt that no variable can hold still comes on standard input.
    const auto answer = test::wait(agent.run({.systemPrompt = QString(200'000, u'x')}, nullptr));
    ASSERT_TRUE(answer.has_value()) << qPrintable(answer.error().message);
    EXPECT_GT(answer->size(), 200'000);
}

TEST(CommandProvider, whatTheCommandPrintsIsHandedOnAsItComes) {
    const test::ScratchFolder folder;
    test::TestClock clock;
    // The second piece begins in the middle of a character, and comes once the first has been seen.
    ASSERT_EQ(mkfifo(folder.path(u"seen"_s).toUtf8().constData(), 0600), 0);
    const QString script =
        u"printf 'caf\\303'; read line < %1; printf '\\251 au lait\\n'"_s.arg(folder.path(u"seen"_s));
    CommandProvider agent(clock, u"/bin/sh -c \"%1\""_s.arg(script));
    AgentRequest request;
    QString shown;
    request.onText = [&](const QString& piece, bool isNew) {
        EXPECT_EQ(isNew, shown.isEmpty());
        shown += piece;
        if (shown == u"caf") {
            folder.write(u"seen"_s, "\n");
        }
    };
    EXPECT_EQ(test::wait(agent.run(request, nullptr)), u"café au lait"_s);
    EXPECT_EQ(shown, u"café au lait\n"_s);
}

TEST(CommandProvider, theCommandLineIsQuotedAsInAShell) {
    test::TestClock clock;
    const std::pair<const char*, const char*> rows[] = {
        {R"('a "b"' c)", R"([a "b"][c])"},
        {R"("it's" 'x\y')", R"([it's][x\y])"},
        {R"(a\ b "\"\$\n")", R"([a b]["$\n])"},
        {R"(a''b "" --x='1 2')", R"([ab][][--x=1 2])"},
    };
    for (const auto& [line, words] : rows) {
        CommandProvider agent(clock, u"  /usr/bin/printf [%s] "_s + QString::fromUtf8(line) + u"\t "_s);
        EXPECT_EQ(test::wait(agent.run({}, nullptr)), QString::fromUtf8(words));
    }
}

TEST(CommandProvider, failuresAreTyped) {
    using enum FailureKind;
    test::TestClock clock;
    struct Row {
        const char* command;
        FailureKind kind;
        const char* message;
    };
    const Row rows[] = {
        {"/bin/sh -c \"echo Please log in >&2; exit 1\"", notLoggedIn, "Please log in"},
        {"/bin/sh -c \"echo daily limit reached; exit 1\"", limit, "daily limit reached"},
        {"/bin/sh -c \"exit 3\"", failed, "Your command failed with status 3."},
        {"/bin/true", failed, "Your command gave no answer."},
        {"/bin/sh -c \"kill -9 $$\"", failed, "Your command was ended by signal 9."},
        {"/bin/sh -c \"echo out of memory >&2; kill -9 $$\"", failed, "out of memory"},
        {"/no/such/tool", failed, "Couldn't start /no/such/tool: No such file or directory"},
        {"/bin/echo 'a", failed,
         "The setting customCommand has a quote that isn't closed, or ends in \\; mend it."},
        {"/bin/echo a\\", failed,
         "The setting customCommand has a quote that isn't closed, or ends in \\; mend it."},
        {"\"\"", failed, "The setting customCommand doesn't name a program."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.command);
        CommandProvider agent(clock, QString::fromUtf8(row.command));
        const auto result = test::wait(agent.run({.instruction = u"Go."_s}, nullptr));
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().kind, row.kind);
        EXPECT_EQ(result.error().message, QString::fromUtf8(row.message));
    }
}
