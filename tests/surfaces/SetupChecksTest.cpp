#include "surfaces/SetupChecks.h"
#include "tests/support/FakeAgents.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QFile>

#include <array>
#include <thread>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

/// Delivers so many buffers of silence from a thread of its own, or fails to start.
class SilentSource final : public AudioSource {
  public:
    explicit SilentSource(std::optional<int> buffers) : m_buffers(buffers) {}
    ~SilentSource() override { stop(); }

    Task<Result<>> start(Consumer onBuffer) override {
        if (!m_buffers) {
            co_return fail(FailureKind::systemAudio, u"No output."_s);
        }
        m_thread = std::thread([onBuffer, count = *m_buffers] {
            constexpr std::array<float, 160> silence{};
            for (int i = 0; i < count; ++i) {
                onBuffer({.format = {.rate = 16000, .channels = 1}, .samples = silence});
            }
        });
        co_return {};
    }
    void stop() override {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

  private:
    std::optional<int> m_buffers;
    std::thread m_thread;
};

struct SetupChecksTest : ::testing::Test {
    SetupChecksTest() : settings(folder.path(u"settings.ini"_s)) {
        settings.set(u"claudeExecutablePath"_s, test::FakeAgents::claude());
        settings.set(u"codexExecutablePath"_s, test::FakeAgents::codex());
        SetupPorts ports{
            .microphone = [this]() -> Task<PermissionState> { return valueOf(mic); },
            .requestMicrophone = [this]() -> Task<bool> { return valueOf(micWorks); },
            .systemAudio = [this] { return std::make_unique<SilentSource>(buffers); },
            .isSpeechInstalled = [this] { return speechInstalled; },
            .installSpeech =
                [this](std::function<void(double)> onProgress) {
                    for (const double progress : {0.5, 7.0}) {
                        onProgress(progress);
                        seen.push_back(checks->speech());
                    }
                    return valueOf(installed);
                },
        };
        checks = std::make_unique<SetupChecks>(settings, clock, claude, codex, std::move(ports));
    }

    template <typename T>
    static Task<T> valueOf(T value) {
        co_return std::move(value);
    }

    test::ScratchFolder folder;
    test::TestClock clock;
    Settings settings;
    ClaudeRunner claude{settings, clock};
    CodexRunner codex{settings, clock};
    test::FakeAgents agents;
    PermissionState mic = PermissionState::unknown();
    bool micWorks = true;
    std::optional<int> buffers = 3;
    bool speechInstalled = false;
    Result<> installed;
    std::vector<PermissionState> seen;
    std::unique_ptr<SetupChecks> checks;
};

}  // namespace

TEST_F(SetupChecksTest, refreshReadsWhatNeedsNoTrying) {
    EXPECT_EQ(checks->mic(), PermissionState::unknown());
    int changes = 0;
    QObject::connect(checks.get(), &SetupChecks::changed, checks.get(), [&] { ++changes; });
    mic = PermissionState::allowed();
    speechInstalled = true;
    test::wait(checks->refresh());
    EXPECT_EQ(checks->mic(), PermissionState::allowed());
    EXPECT_EQ(checks->speech(), PermissionState::allowed());
    EXPECT_EQ(checks->systemAudio(), PermissionState::unknown());
    EXPECT_EQ(checks->claudePath(), test::FakeAgents::claude());
    EXPECT_EQ(checks->codexPath(), test::FakeAgents::codex());
    EXPECT_EQ(changes, 4);

    settings.set(u"systemAudioAllowed"_s, true);
    mic = PermissionState::denied();
    speechInstalled = false;
    test::wait(checks->refresh());
    EXPECT_EQ(checks->mic(), PermissionState::denied());
    EXPECT_EQ(checks->speech(), PermissionState::unknown());
    EXPECT_EQ(checks->systemAudio(), PermissionState::allowed());

    micWorks = true;
    test::wait(checks->requestMic());
    EXPECT_EQ(checks->mic(), PermissionState::allowed());
}

TEST_F(SetupChecksTest, systemAudioIsAllowedWhenEvenSilenceArrives) {
    struct Row {
        std::optional<int> buffers;
        PermissionState state;
        bool setting;
    };
    // A source that fails to start leaves the setting as the row before it left it.
    const Row rows[] = {{0, PermissionState::denied(), false},
                        {3, PermissionState::allowed(), true},
                        {std::nullopt, PermissionState::denied(), true},
                        {0, PermissionState::denied(), false}};
    for (const Row& row : rows) {
        buffers = row.buffers;
        auto probe = checks->requestSystemAudio();
        if (row.buffers) {
            EXPECT_TRUE(checks->systemAudio().isWorking());
            // What is under way isn't overwritten, and isn't begun twice.
            test::wait(checks->refresh());
            test::wait(checks->requestSystemAudio());
            EXPECT_TRUE(checks->systemAudio().isWorking());
        }
        clock.advance(5s);
        test::wait(std::move(probe));
        EXPECT_EQ(checks->systemAudio(), row.state);
        EXPECT_EQ(settings.boolean(u"systemAudioAllowed"_s), row.setting);
    }
}

TEST_F(SetupChecksTest, installingSpeechTellsItsProgress) {
    test::wait(checks->installSpeech());
    EXPECT_EQ(seen, (std::vector{PermissionState::working(0.5), PermissionState::working(1.0)}));
    EXPECT_EQ(checks->speech(), PermissionState::allowed());
    installed = fail(FailureKind::speech, u"No network."_s);
    test::wait(checks->installSpeech());
    EXPECT_EQ(checks->speech(), PermissionState::denied());
}

TEST_F(SetupChecksTest, anAgentIsConnectedWhenItSaysOk) {
    struct Row {
        const char* mode;
        const char* reply;
        PermissionState::Kind state;
        const char* claudeMessage;
        const char* codexMessage;
    };
    using enum PermissionState::Kind;
    const Row rows[] = {
        {"answer", "OK.", allowed, "Connected to your Claude account.", "Connected to your ChatGPT account."},
        {"answer", "No.", denied, "The answer wasn't the one asked for. Try again.",
         "The answer wasn't the one asked for. Try again."},
        {"error", "", denied, "Run `claude` in Terminal once to log in",
         "Run `codex login` in Terminal and pick Sign in with ChatGPT."},
        {"killed", "", denied, "Claude took too long. Try again.", "Codex took too long. Try again."},
    };
    agents.set("TEXT", "Please run /login");
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << " " << row.reply);
        agents.mode(row.mode);
        agents.set("REPLY", row.reply);
        test::wait(checks->testClaude());
        test::wait(checks->testCodex());
        EXPECT_EQ(checks->claude().kind, row.state);
        EXPECT_EQ(checks->codex().kind, row.state);
        EXPECT_EQ(checks->claudeMessage(), QString::fromUtf8(row.claudeMessage));
        EXPECT_EQ(checks->codexMessage(), QString::fromUtf8(row.codexMessage));
    }
}

TEST_F(SetupChecksTest, aMachineWithoutAgentsSaysSo) {
    if (QFile::exists(u"/usr/bin/claude"_s) || QFile::exists(u"/usr/local/bin/claude"_s) ||
        QFile::exists(u"/usr/bin/codex"_s) || QFile::exists(u"/usr/local/bin/codex"_s)) {
        GTEST_SKIP() << "This machine has an agent.";
    }
    settings.set(u"claudeExecutablePath"_s, folder.path(u"gone"_s));
    settings.set(u"codexExecutablePath"_s, folder.path(u"gone"_s));
    test::wait(checks->testClaude());
    test::wait(checks->testCodex());
    EXPECT_EQ(checks->claude(), PermissionState::denied());
    EXPECT_EQ(checks->claudeMessage(), u"Claude Code isn't installed");
    EXPECT_EQ(checks->codex(), PermissionState::denied());
    EXPECT_EQ(checks->codexMessage(), u"Codex isn't installed.");
    EXPECT_EQ(checks->claudePath(), std::nullopt);
}

TEST_F(SetupChecksTest, theObjectMayGoWhileATestIsUnderWay) {
    agents.close();
    bool isOver = false;
    checks->testClaude().then([&] { isOver = true; });
    ASSERT_TRUE(test::eventually([&] { return agents.runs().size() == 1; }));
    checks.reset();
    agents.open();
    EXPECT_TRUE(test::eventually([&] { return isOver; }));
}
