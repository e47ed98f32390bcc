#pragma once

#include "LumbroCore/Settings.h"
#include "runners/AgentProcess.h"
#include "tests/support/FakeAgents.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <memory>
#include <optional>

#include <gtest/gtest.h>

namespace lumbro::test {

/// A runner for which a setting holds the path of a stand-in agent.
template <typename Runner>
struct RunnerFixture : ::testing::Test {
    RunnerFixture(const QString& setting, const QString& agent)
        : settings(folder.path(u"settings.ini"_s)), runner(settings, clock) {
        settings.set(setting, agent);
    }

    /// Starts a run whose outcome goes to `outcome`.
    void start(AgentRequest request) {
        runner.run(std::move(request), handle).then([this](Result<QString> result) { outcome = result; });
    }
    Result<QString> run(AgentRequest request = {.instruction = u"Say ok."_s, .model = u"haiku"_s}) {
        return wait(runner.run(std::move(request), handle));
    }

    ScratchFolder folder;
    TestClock clock;
    Settings settings;
    Runner runner;
    FakeAgents agents;
    std::shared_ptr<CancellationHandle> handle = std::make_shared<CancellationHandle>();
    std::optional<Result<QString>> outcome;
};

/// An end of the agent, and what the runner is to make of it.
struct AgentEndRow {
    const char* mode;
    /// None: the message is the answer.
    std::optional<FailureKind> kind;
    const char* message;
    /// What the agent says in the modes "error" and "stderr".
    const char* text = "";
    int status = 1;
    bool isStream = false;
};

/// Lets the next run end in this way, or answer " hello ".
inline void play(const AgentEndRow& row, const FakeAgents& agents) {
    agents.mode(row.mode);
    agents.set("REPLY", "  hello\n");
    agents.set("TEXT", row.text);
    agents.set("STATUS", QByteArray::number(row.status));
}

inline void expectEnd(const AgentEndRow& row, const Result<QString>& result) {
    if (row.kind) {
        ASSERT_FALSE(result.has_value()) << qPrintable(*result);
        EXPECT_EQ(result.error().kind, *row.kind);
        EXPECT_EQ(result.error().message, QString::fromUtf8(row.message));
    } else {
        ASSERT_TRUE(result.has_value()) << qPrintable(result.error().message);
        EXPECT_EQ(*result, QString::fromUtf8(row.message));
    }
}

}  // namespace lumbro::test
