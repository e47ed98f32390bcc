#include "runners/CodexRunner.h"
#include "tests/runners/RunnerFixture.h"

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

struct CodexRunnerTest : test::RunnerFixture<CodexRunner> {
    CodexRunnerTest() : RunnerFixture(u"codexExecutablePath"_s, test::FakeAgents::codex()) {}
};

}  // namespace

TEST_F(CodexRunnerTest, everyEndOfTheAgentIsAnAnswerOrATypedFailure) {
    using enum FailureKind;
    const test::AgentEndRow rows[] = {
        {"answer", std::nullopt, "hello"},
        {"reconnecting", std::nullopt, "hello"},
        {"grandchild", std::nullopt, "hello"},
        {"deaf", std::nullopt, "hello"},
        {"silent", failed, "Codex failed"},
        {"garbage", failed, "Codex failed"},
        {"half", failed, "Codex failed"},
        {"flood", failed, "Codex failed"},
        {"empty", failed, "Codex failed"},
        {"killed", failed, "Codex took too long. Try again."},
        {"exit143", failed, "Codex took too long. Try again."},
        {"error", failed, "Run `codex login` in Terminal to sign in to Codex", "401 Unauthorized"},
        {"error", limit, "You've hit your usage limit.", "You've hit your usage limit."},
        {"error", failed, "context limit", "context limit"},
        {"stderr", failed, "not UTF-8", "Reading additional input from stdin...\nnot UTF-8"},
        {"stderr", limit, "quota exceeded", "quota exceeded"},
    };
    for (const test::AgentEndRow& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " " << row.text);
        test::play(row, agents);
        test::expectEnd(row, run());
    }
}

TEST_F(CodexRunnerTest, tooMuchTextIsRefusedRatherThanCut) {
    const auto result = run({.instruction = u"Go."_s, .context = QString(1'048'577, u'x')});
    ASSERT_FALSE(result.has_value());
    EXPECT_TRUE(result.error().message.contains(u"too much text")) << qPrintable(result.error().message);
    EXPECT_TRUE(agents.runs().isEmpty());

    // Counted in characters, of which these are two units each.
    EXPECT_TRUE(run({.instruction = u"Go."_s, .context = u"🎉"_s.repeated(600'000)}).has_value());
    EXPECT_EQ(agents.runs().last()[u"env"].toObject()[u"RUST_LOG"].toString(), u"error");
}

TEST_F(CodexRunnerTest, aHungAgentTimesOutAndACancelledOneIsCancelled) {
    agents.mode("hang");
    for (const bool byUser : {false, true}) {
        outcome.reset();
        const auto before = agents.runs().size();
        start({.instruction = u"Go."_s});
        ASSERT_TRUE(test::eventually([&] { return agents.runs().size() > before; }));
        if (byUser) {
            handle->cancel();
        } else {
            clock.advance(180s);
        }
        ASSERT_TRUE(test::eventually([&] { return outcome.has_value(); }));
        ASSERT_FALSE(outcome->has_value());
        EXPECT_EQ(outcome->error().message, byUser ? u"Cancelled"_s : u"Codex took too long. Try again."_s);
    }
}

TEST_F(CodexRunnerTest, signedInIsWhatTheToolsStatusSays) {
    EXPECT_TRUE(test::wait(runner.isSignedIn()));
    agents.mode("error");
    EXPECT_FALSE(test::wait(runner.isSignedIn()));
    EXPECT_EQ(agents.runs().last()[u"argv"].toVariant().toStringList().mid(1),
              (QStringList{u"login"_s, u"status"_s}));
}
