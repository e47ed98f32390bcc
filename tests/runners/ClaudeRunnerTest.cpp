#include "LumbroCore/AppLog.h"
#include "LumbroCore/ChildProcess.h"
#include "runners/ClaudeRunner.h"
#include "runners/ClaudeText.h"
#include "tests/runners/RunnerFixture.h"

#include <QDir>
#include <QJsonArray>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

struct ClaudeRunnerTest : test::RunnerFixture<ClaudeRunner> {
    ClaudeRunnerTest() : RunnerFixture(u"claudeExecutablePath"_s, test::FakeAgents::claude()) {}

    QStringList lastArguments() const {
        const auto runs = agents.runs();
        return runs.isEmpty() ? QStringList() : runs.last()[u"argv"].toVariant().toStringList().mid(1);
    }
};

const AgentRequest streamed{.instruction = u"Go."_s, .model = u"sonnet"_s, .requireTools = u"mcp__slack"_s};

}  // namespace

TEST_F(ClaudeRunnerTest, everyEndOfTheAgentIsAnAnswerOrATypedFailure) {
    using enum FailureKind;
    const test::AgentEndRow rows[] = {
        {"answer", std::nullopt, "hello"},
        {"deaf", std::nullopt, "hello"},
        {"grandchild", std::nullopt, "hello"},
        {"noisy", std::nullopt, "hello"},
        {"silent", failed, "Claude Code failed"},
        {"garbage", failed, "Claude Code failed"},
        {"half", failed, "{\"type\":\"result\",\"result\":\"hal"},
        {"empty", failed, "Claude Code failed"},
        {"killed", timedOut, "Claude took too long. Try again."},
        {"exit143", timedOut, "Claude took too long. Try again."},
        {"error", notLoggedIn, "Run `claude` in Terminal once to log in",
         "Not logged in · Please run /login"},
        {"error", notLoggedIn, "Run `claude` in Terminal once to log in",
         "Invalid API key · Fix external API key"},
        {"error", notLoggedIn, "Run `claude` in Terminal once to log in", "Login needed, limit or not"},
        {"error", limit, "You've hit your session limit · resets 3pm",
         "You've hit your session limit · resets 3pm"},
        {"error", limit, "Claude usage limit reached", "Claude usage limit reached", 0},
        {"error", failed, "API Error: 529 Overloaded", "API Error: 529 Overloaded"},
        {"error", failed, "Claude Code failed", ""},
        {"stderr", failed, "prompt exceeds the maximum", "  prompt exceeds the maximum"},
        {"stderr", failed, "Claude Code failed", "\x01\x7f \x02"},
        {"stderr", limit, "rate limit", "rate limit", 0},
        {"cut-last-line", std::nullopt, "whole", "", 0, true},
        {"killed", timedOut, "Claude took too long. Try again.", "", 0, true},
    };
    for (const test::AgentEndRow& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " " << row.text);
        test::play(row, agents);
        agents.set("TOOLS", "mcp__slack__send");
        test::expectEnd(row, row.isStream ? run(streamed) : run());
    }
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(ClaudeRunnerTest, aHundredMegabytesOfGarbageEndInOneSentence) {
    agents.mode("flood");
    const auto result = run();
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), (Failure{FailureKind::failed, QString(240, u'g'),
                                       u"Claude Code's answer can't be read, exit status 0"_s}));
}

TEST_F(ClaudeRunnerTest, aFailureSaysHowTheAgentEndedAndItsLastWordsInTheLogToo) {
    const QByteArray trace = "node:internal/modules\n" + QByteArray(300, 'x') + "\nError: no such model\n";
    const struct {
        const char* mode;
        QByteArray text;
        const char* detail;
    } rows[] = {
        {"silent", "", "exit status 0"},
        {"killed", "", "ended by signal 9"},
        {"stderr", "\xff\xfe", "exit status 7: \ufffd\ufffd"},
        {"stderr", trace, "exit status 7: Error: no such model"},
        {"stderr", "said in the message", "exit status 7"},
        {"stderr", "bad\n" + QByteArray(240, 'x') + "\nkey sk-ant-api03-" + QByteArray(90, 'k'), nullptr},
        {"stderr", "Authorization: Bearer " + QByteArray(40, 'k'), "exit status 7"},
        // What is cut off is no secret any more that could be told by its look.
        {"stderr", QByteArray(200, 'x') + " password=" + QByteArray(60, 'k'), nullptr},
        {"error", "the key sk-ant-api03-" + QByteArray(90, 'k'), "exit status 7"},
    };
    for (const auto& row : rows) {
        agents.mode(row.mode);
        agents.set("TEXT", row.text);
        agents.set("STATUS", "7");
        const auto result = run();
        ASSERT_FALSE(result.has_value());
        AppLog::flush();
        const QString logged = QString::fromUtf8(readFile(AppLog::url()).value_or(QByteArray()));
        if (row.detail != nullptr) {
            EXPECT_EQ(result.error().detail, QString::fromUtf8(row.detail));
            EXPECT_TRUE(logged.endsWith(u" ("_s + result.error().detail + u")\n"_s)) << qPrintable(logged);
        }
        EXPECT_TRUE(logged.contains(u"ERROR [agent] claude: "_s));
        EXPECT_FALSE(logged.contains(u"kkkkkkkk"_s));
        EXPECT_FALSE(QString(result.error().message + result.error().detail).contains(u"kkkkkkkk"_s))
            << qPrintable(result.error().message);
    }
}

TEST_F(ClaudeRunnerTest, theWatchdogEndsASilentAgentAndWaitsForItsEnd) {
    for (const QByteArray mode : {"hang", "stubborn"}) {
        SCOPED_TRACE(mode.constData());
        agents.mode(mode);
        outcome.reset();
        const auto before = agents.runs().size();
        start({.instruction = u"Go."_s, .timeout = 5s});
        ASSERT_TRUE(test::eventually([&] { return agents.runs().size() > before; }));
        clock.advance(4s);
        EXPECT_FALSE(outcome.has_value());
        clock.advance(1s);
        ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
        ASSERT_FALSE(outcome->has_value());
        EXPECT_EQ(outcome->error().kind, FailureKind::timedOut);
        // Gone, and reaped.
        EXPECT_NE(::kill(agents.runs().last()[u"pid"].toInt(), 0), 0);
    }
}

TEST_F(ClaudeRunnerTest, anAgentThatIgnoresTheRequestToEndIsKilledAfterTenSeconds) {
    folder.write(u"deaf"_s,
                 "#!/bin/sh\ntrap '' TERM HUP\necho $$ > \"$0.pid\"\nwhile :; do sleep 0.05; done\n");
    QFile::setPermissions(folder.path(u"deaf"_s), QFile::ReadOwner | QFile::ExeOwner);
    settings.set(u"claudeExecutablePath"_s, folder.path(u"deaf"_s));
    for (const FailureKind kind : {FailureKind::timedOut, FailureKind::cancelled}) {
        outcome.reset();
        start({.instruction = u"Go."_s, .timeout = 5s});
        ASSERT_TRUE(test::eventually([&] { return folder.read(u"deaf.pid"_s).endsWith('\n'); }));
        const int pid = folder.read(u"deaf.pid"_s).trimmed().toInt();
        if (kind == FailureKind::cancelled) {
            handle->cancel();
        } else {
            clock.advance(5s);
        }
        clock.advance(8s);
        EXPECT_FALSE(outcome.has_value());
        clock.advance(2s);
        EXPECT_TRUE(outcome && !*outcome && outcome->error().kind == kind);
        EXPECT_TRUE(handle->process.expired());
        EXPECT_EQ(clock.timerCount(), 0U);
        EXPECT_TRUE(test::eventually([&] { return ::kill(pid, 0) != 0; }));
        QFile::remove(folder.path(u"deaf.pid"_s));
    }
}

TEST_F(ClaudeRunnerTest, theDefaultTimeIsThreeMinutes) {
    agents.mode("hang");
    start({.instruction = u"Go."_s});
    ASSERT_TRUE(test::eventually([&] { return !agents.runs().isEmpty(); }));
    clock.advance(179s);
    test::processEvents();
    EXPECT_FALSE(handle->process.expired());
    EXPECT_FALSE(outcome.has_value());
    clock.advance(1s);
    ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
}

TEST_F(ClaudeRunnerTest, cancellationIsJudgedBeforeEverythingElse) {
    agents.mode("hang");
    start({.instruction = u"Go."_s});
    ASSERT_TRUE(test::eventually([&] { return !agents.runs().isEmpty(); }));
    handle->cancel();
    ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
    ASSERT_FALSE(outcome->has_value());
    EXPECT_EQ(outcome->error(), (Failure{FailureKind::cancelled, u"Cancelled"_s}));
    EXPECT_TRUE(handle->process.expired());

    // A handle that was cancelled before the launch starts nothing.
    const auto result = run();
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, FailureKind::cancelled);
    EXPECT_EQ(agents.runs().size(), 1);
}

TEST_F(ClaudeRunnerTest, aRunWithoutItsConnectorIsStoppedAtInit) {
    agents.mode("no-tools");
    auto result = run(streamed);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(),
              (Failure{FailureKind::toolsNotReady, u"The app didn't load in time. Nothing was changed."_s}));

    agents.mode("answer");
    agents.set("TOOLS", "Read,mcp__slack2__send");
    result = run(streamed);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, FailureKind::toolsNotReady);

    agents.set("TOOLS", "Read,mcp__slack__send");
    agents.set("REPLY", "sent");
    EXPECT_EQ(run(streamed), u"sent"_s);
}

TEST_F(ClaudeRunnerTest, aRunWithAToolThatItMustNotHaveIsStoppedAtInit) {
    AgentRequest guarded = streamed;
    guarded.mustNotLoad = [](const QString& tool) { return tool.endsWith(u"drop"); };
    agents.set("REPLY", "sent");
    for (const auto& [tools, isStopped] : {std::pair("mcp__slack__send,mcp__slack__drop", true),
                                           std::pair("mcp__slack__send,mcp__other__drop", false)}) {
        agents.set("TOOLS", tools);
        const auto result = run(guarded);
        ASSERT_NE(result.has_value(), isStopped) << tools;
        if (isStopped) {
            EXPECT_TRUE(result.error().message.contains(u"kept from using mcp__slack__drop, so it was ended"))
                << qPrintable(result.error().message);
        }
    }
}

TEST_F(ClaudeRunnerTest, anAgentWithoutItsConnectorThatIgnoresTheRequestToEndIsLeftAsSoon) {
    folder.write(u"deaf"_s,
                 "#!/bin/sh\ntrap '' TERM HUP\n"
                 "echo '{\"type\":\"system\",\"subtype\":\"init\",\"tools\":[]}'\n"
                 "echo $$ > \"$0.pid\"\n"
                 "while :; do sleep 0.05; done\n");
    QFile::setPermissions(folder.path(u"deaf"_s), QFile::ReadOwner | QFile::ExeOwner);
    settings.set(u"claudeExecutablePath"_s, folder.path(u"deaf"_s));
    start(streamed);
    ASSERT_TRUE(test::eventually([&] { return folder.read(u"deaf.pid"_s).endsWith('\n'); }));
    const auto ended = [&] {
        clock.advance(1s);
        return outcome.has_value();
    };
    ASSERT_TRUE(test::eventually(ended));
    EXPECT_LT(clock.elapsed(), defaultTimeout);
    EXPECT_EQ(outcome->error().kind, FailureKind::toolsNotReady);
    const int pid = folder.read(u"deaf.pid"_s).trimmed().toInt();
    EXPECT_TRUE(test::eventually([&] { return ::kill(pid, 0) != 0; }));
}

TEST_F(ClaudeRunnerTest, theRequestReachesTheAgentWhole) {
    qputenv("CLAUDE_CODE_MAX_RETRIES", "2");
    const QString context = u"Me: naïve €\n"_s.repeated(100'000) + QChar(0xD800);
    ASSERT_TRUE(run({.systemPrompt = u"Be brief."_s,
                     .instruction = u"Sum up."_s,
                     .context = context,
                     .model = u"sonnet"_s,
                     .workingDirectory = folder.path()})
                    .has_value());
    qunsetenv("CLAUDE_CODE_MAX_RETRIES");
    const QJsonObject seen = agents.runs().last();
    EXPECT_EQ(seen[u"cwd"].toString(), QDir(folder.path()).canonicalPath());
    const QString input = seen[u"stdin"].toString();
    EXPECT_TRUE(input.startsWith(context.chopped(1)));
    EXPECT_EQ(input.size(), context.size());

    const QJsonObject environment = seen[u"env"].toObject();
    EXPECT_EQ(environment[u"PATH"].toString(), QFileInfo(test::FakeAgents::claude()).absolutePath() +
                                                   u":/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:"_s +
                                                   qEnvironmentVariable("PATH"));
    EXPECT_EQ(environment[u"CLAUDE_CODE_MAX_RETRIES"].toString(), u"2");
    EXPECT_EQ(environment[u"MCP_CONNECTION_NONBLOCKING"].toString(), u"0");
    EXPECT_EQ(environment[u"MCP_CONNECT_TIMEOUT_MS"].toString(), u"20000");
    EXPECT_EQ(environment[u"CLAUDE_CODE_DISABLE_ATTACHMENTS"].toString(), u"1");
    EXPECT_EQ(environment[u"CLAUDE_CODE_DISABLE_TERMINAL_TITLE"].toString(), u"1");
    EXPECT_EQ(environment[u"CLAUDE_CODE_SKIP_PROMPT_HISTORY"].toString(), u"1");
}

TEST_F(ClaudeRunnerTest, withoutAFolderItWorksInAPrivateScratchFolder) {
    qputenv("TMPDIR", folder.path().toUtf8());
    QDir(folder.path()).mkdir(u"quillet-claude"_s);
    QFile::setPermissions(folder.path(u"quillet-claude"_s), QFile::Permissions(0x7755));
    const auto result = run();
    qunsetenv("TMPDIR");
    ASSERT_TRUE(result.has_value());
    const QString used = agents.runs().last()[u"cwd"].toString();
    EXPECT_TRUE(used.endsWith(u"/quillet-claude")) << qPrintable(used);
    struct stat info{};
    ASSERT_EQ(::stat(used.toUtf8().constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700U);
}

TEST_F(ClaudeRunnerTest, whatTheToolCannotTakeIsRefusedBeforeTheLaunch) {
    const AgentRequest requests[] = {
        {.systemPrompt = QString(128 * 1024, u'x'), .instruction = u"Go."_s},
        {.instruction = QString(70'000, u'ß')},
        {.instruction = u"Go."_s, .context = QString(10'000'001, u'x')},
    };
    for (const AgentRequest& request : requests) {
        const auto result = run(request);
        ASSERT_FALSE(result.has_value());
        EXPECT_TRUE(result.error().message.contains(u"too ")) << qPrintable(result.error().message);
    }
    EXPECT_TRUE(agents.runs().isEmpty());
    EXPECT_TRUE(run({.systemPrompt = QString(128 * 1024 - 1, u'x'), .instruction = u"Go."_s}).has_value());
}

TEST_F(ClaudeRunnerTest, aFailureToStartNamesTheReason) {
    folder.write(u"broken"_s, "#!/no/such/interpreter\n");
    QFile::setPermissions(folder.path(u"broken"_s), QFile::ReadOwner | QFile::ExeOwner);
    settings.set(u"claudeExecutablePath"_s, folder.path(u"broken"_s));
    const auto result = run();
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(),
              (Failure{FailureKind::failed,
                       u"Couldn't start Claude Code: %1 needs /no/such/interpreter, which is missing"_s.arg(
                           folder.path(u"broken"_s))}));
}

TEST_F(ClaudeRunnerTest, manyRunsAtOnceShareNothing) {
    agents.close();
    std::vector<QString> answers;
    for (int i = 0; i < 8; ++i) {
        runner.run({.instruction = u"Go."_s, .context = u"run %1"_s.arg(i)}, nullptr)
            .then([&](Result<QString> result) { answers.push_back(result.value_or(u"failed"_s)); });
    }
    ASSERT_TRUE(test::eventually([&] { return agents.runs().size() == 8; }));
    EXPECT_TRUE(answers.empty());
    agents.open();
    ASSERT_TRUE(test::eventually([&] { return answers.size() == 8; }));
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(std::ranges::count_if(
                      answers, [&](const QString& text) { return text.contains(u"- run %1"_s.arg(i)); }),
                  1);
    }
}

TEST_F(ClaudeRunnerTest, theReplysWordsComeWhileItIsWritten) {
    agents.mode("typing");
    agents.set("REPLY", "Send it on Friday.");
    agents.close();
    QString shown;
    int texts = 0;
    AgentRequest request{.instruction = u"Go."_s, .model = u"sonnet"_s};
    request.onText = [&](const QString& piece, bool isNew) {
        texts += isNew ? 1 : 0;
        shown = isNew ? piece : shown + piece;
    };
    start(request);
    ASSERT_TRUE(test::eventually([&] { return shown == u"Send it o"; })) << qPrintable(shown);
    EXPECT_EQ(texts, 2);
    EXPECT_FALSE(outcome);
    agents.open();
    ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
    EXPECT_EQ(*outcome, u"Send it on Friday."_s);
    EXPECT_EQ(shown, u"Send it on Friday."_s);
    EXPECT_TRUE(lastArguments().join(u' ').contains(
        u"--output-format stream-json --verbose --include-partial-messages --strict-mcp-config"_s));
}

TEST(ClaudeText, onlyWordsOfTheReplyItselfAreTaken) {
    struct Row {
        const char* event;
        std::optional<claude::ReplyText::Piece> piece;
    };
    const Row rows[] = {
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"a"}}})",
         {{u"a"_s, true}}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"b"}}})",
         {{u"b"_s, false}}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"thinking_delta","thinking":"t"}}})",
         {}},
        {R"({"type":"stream_event","parent_tool_use_id":"x","event":{"type":"message_start"}})", {}},
        {R"({"type":"assistant","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":"c"}}})",
         {}},
        {R"({"type":"stream_event","event":{"type":"content_block_delta","delta":{"type":"text_delta","text":7}}})",
         {}},
        {R"({"type":"stream_event","event":[]})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"tool_use","text":"d"}}})",
         {}},
        {R"({"type":"stream_event","event":{"type":"message_start"}})", {}},
        {R"({"type":"stream_event","event":{"type":"content_block_start","content_block":{"type":"text","text":"e"}}})",
         {{u"e"_s, true}}},
    };
    claude::ReplyText text;
    for (const Row& row : rows) {
        EXPECT_EQ(text.take(json::object(row.event)), row.piece) << row.event;
    }
}
