#include "LumbroCore/Literals.h"
#include "runners/ClaudeCommand.h"
#include "runners/CodexCommand.h"
#include "runners/CodexOutput.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(ClaudeCommand, argumentsStandInTheToolsOrder) {
    const QStringList start{u"-p"_s,      u"Go."_s,   u"--system-prompt"_s, u"Be brief."_s,
                            u"--model"_s, u"haiku"_s, u"--tools"_s};
    const QStringList noConnectors{u"--strict-mcp-config"_s, u"--mcp-config"_s, u"{\"mcpServers\":{}}"_s};
    AgentRequest request{.systemPrompt = u"Be brief."_s, .instruction = u"Go."_s, .model = u"haiku"_s};

    QStringList expected = start;
    expected << u""_s << u"--setting-sources"_s << u""_s << u"--output-format"_s << u"json"_s << noConnectors;
    EXPECT_EQ(claude::arguments(request), expected);

    request.tools = {u"Read(a)"_s, u"Read(b)"_s, u" Bash (git status:*)"_s, u"(x)"_s};
    request.disallowed = {u"mcp__a__delete"_s, u"mcp__a__trash"_s};
    expected = start;
    expected << u"Read,Bash"_s << u"--setting-sources"_s << u""_s << u"--output-format"_s << u"json"_s
             << noConnectors << u"--allowedTools"_s << u"Read(a),Read(b), Bash (git status:*),(x)"_s
             << u"--disallowedTools"_s << u"mcp__a__delete,mcp__a__trash"_s;
    EXPECT_EQ(claude::arguments(request), expected);

    request.tools.clear();
    request.disallowed.clear();
    request.requireTools = u"mcp__a"_s;
    request.connectors = AgentConnectors{.allow = {u"mcp__a"_s}};
    expected = start;
    expected << u""_s << u"--setting-sources"_s << u""_s << u"--output-format"_s << u"stream-json"_s
             << u"--verbose"_s << u"--allowedTools"_s << u"mcp__a"_s;
    EXPECT_EQ(claude::arguments(request), expected);

    request.connectors->config = u"{}"_s;
    EXPECT_EQ(claude::arguments(request).mid(13, 3),
              (QStringList{u"--strict-mcp-config"_s, u"--mcp-config"_s, u"{}"_s}));
}

TEST(ClaudeCommand, anInstructionIsNeitherAnOptionNorACommand) {
    const std::pair<QString, QString> rows[] = {{u"--help me"_s, u" --help me"_s},
                                                {u"/status"_s, u" /status"_s},
                                                {u"Say ok."_s, u"Say ok."_s},
                                                {u"a/b -c"_s, u"a/b -c"_s}};
    for (const auto& [given, passed] : rows) {
        AgentRequest request{.instruction = given};
        EXPECT_EQ(claude::arguments(request).value(1), passed);
        EXPECT_EQ(codex::arguments(request, u"/tmp"_s).last(), passed);
    }
    EXPECT_EQ(codex::arguments({.instruction = u"review"_s}, u"/tmp"_s).last(), u" review");
}

TEST(CodexCommand, argumentsStandInTheToolsOrder) {
    const AgentRequest request{
        .systemPrompt = u"Be \"brief\"."_s, .instruction = u"Say ok."_s, .model = u"Opus-4"_s};
    EXPECT_EQ(codex::arguments(request, u"/work"_s).join(u'|'),
              u"exec|--json|--skip-git-repo-check|--ephemeral|--ignore-user-config|--ignore-rules|--sandbox|"
              "read-only|--color|never|-C|/work|-c|developer_instructions=\"Be \\\"brief\\\".\"|-c|"
              "model_reasoning_effort=\"high\"|Say ok.");
    EXPECT_EQ(codex::effort(u"claude-haiku-4"_s), u"low");
    EXPECT_EQ(codex::effort(u"sonnet"_s), u"medium");
    EXPECT_EQ(codex::effort(QString()), u"medium");
}

TEST(CodexCommand, aPromptIsAStringOfToml) {
    EXPECT_EQ(codex::tomlString(u"a/b \\ é 🎉\n\t\x01\x7f"_s), u"\"a/b \\\\ é 🎉\\n\\t\\u0001\\u007f\"");
    EXPECT_EQ(codex::tomlString(QString(QChar(0xD83C))), u"\"?\"");
}

TEST(CodexOutput, onlyLinesThatSayWhyRemainOfTheErrors) {
    EXPECT_EQ(codex::readableErrors("Reading additional input from stdin...\n"
                                    "WARNING: proceeding, even though we could not update PATH\n"
                                    "2026-03-02T09:14:05.123456Z ERROR codex_core: lost\n"
                                    "input is not valid UTF-8\n"),
              u"input is not valid UTF-8");
    EXPECT_EQ(codex::readableErrors("\xff\xfe"), u"");
}
