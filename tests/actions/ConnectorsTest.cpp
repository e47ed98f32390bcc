#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "actions/Connectors.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

struct ConnectorsTest : ::testing::Test {
    /// Has the agent run this script.
    void agent(const QByteArray& script) {
        m_folder.write(u"agent"_s,
                       "#!/bin/sh\necho run >> '" + m_folder.path(u"runs"_s).toUtf8() + "'\n" + script);
        QFile::setPermissions(m_folder.path(u"agent"_s),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    Task<std::optional<QString>> locate() {
        co_return m_folder.has(u"agent"_s) ? std::optional(m_folder.path(u"agent"_s)) : std::nullopt;
    }
    bool check() {
        m_connectors.refresh();
        return test::eventually([this] { return !m_connectors.checking(); });
    }
    qsizetype runs() const { return m_folder.read(u"runs"_s).count('\n'); }

    test::ScratchFolder m_folder;
    test::TestClock m_clock;
    Connectors m_connectors{m_clock,
                            [this] { return locate(); },
                            {m_folder.path(u"claude.json"_s), m_folder.path(u"cache/found.json"_s)}};
};

const QByteArray init =
    R"({"type":"system","subtype":"init","tools":["mcp__claude_ai_Slack__send","mcp__my-linear__add"],)"
    R"("mcp_servers":[{"name":"claude.ai Slack","status":"connected"},{"name":"claude.ai Gmail","status":"failed"},)"
    R"({"name":"claude.ai Own","status":"needs-auth"},{"name":"my-linear","status":"pending"}]})";

}  // namespace

TEST_F(ConnectorsTest, theInitEventIsEnoughAndEndsTheProcess) {
    m_folder.write(u"claude.json"_s, R"({"mcpServers":{"my-linear":{"command":"l"}}})");
    agent("echo noise\n[ \"$MCP_CONNECTION_NONBLOCKING\" = 0 ] && echo '" + init + "'\nexec sleep 600\n");
    EXPECT_TRUE(m_connectors.all().isEmpty());
    m_connectors.refresh();
    m_connectors.refresh();
    EXPECT_TRUE(m_connectors.checking());
    ASSERT_TRUE(check());
    EXPECT_EQ(runs(), 1);
    ASSERT_EQ(m_connectors.all().size(), 4);
    EXPECT_EQ(m_connectors.usable().size(), 3);
    EXPECT_EQ(m_connectors.featured().size(), 2);
    EXPECT_EQ(m_connectors.others().value(0).app, u"Own"_s);
    const auto linear = m_connectors.find(u"my-linear"_s);
    ASSERT_TRUE(linear);
    EXPECT_EQ(linear->tools, QStringList{u"mcp__my-linear__add"_s});
    EXPECT_FALSE(m_connectors.failure());
    // Another process knows them without a check of its own, and nobody's configuration is copied.
    const Connectors other(m_clock, [this] { return locate(); },
                           {m_folder.path(u"claude.json"_s), m_folder.path(u"cache/found.json"_s)});
    EXPECT_TRUE(other.all().isEmpty());
    EXPECT_EQ(other.remembered(), m_connectors.usable());
    EXPECT_FALSE(m_folder.read(u"cache/found.json"_s).contains("command"));
    EXPECT_EQ(linear->status, Connector::Status::unknown);
    AppLog::flush();
    EXPECT_TRUE(readFile(AppLog::url())
                    .value_or(QByteArray())
                    .contains("connectors: Slack (account)=connected, Gmail (account)=failed, Own "
                              "(account)=needsLogin, Linear=unknown"));
}

TEST_F(ConnectorsTest, aCheckHoldsForAnHourAlsoAFailedOne) {
    agent("echo '{}'\necho broken >&2\nexit 3\n");
    ASSERT_TRUE(check());
    EXPECT_TRUE(m_connectors.all().isEmpty());
    ASSERT_TRUE(m_connectors.failure());
    EXPECT_EQ(m_connectors.failure()->message, u"Claude Code didn't tell its connectors: broken"_s);
    AppLog::flush();
    EXPECT_TRUE(readFile(AppLog::url())
                    .value_or(QByteArray())
                    .contains("connector check: no init event (lines=1, exit=3): broken"));
    agent("echo 'broken: Authorization: Bearer " + QByteArray(40, 'k') + "' >&2\nexit 3\n");
    m_clock.advance(3601s);
    ASSERT_TRUE(check());
    EXPECT_EQ(m_connectors.failure().value_or(Failure()).message.count(u"kkkkkkkk"_s), 0);
    AppLog::flush();
    EXPECT_FALSE(readFile(AppLog::url()).value_or("kkkkkkkk").contains("kkkkkkkk"));
    agent("echo '" + init + "'\n");
    m_clock.advance(3600s);
    ASSERT_TRUE(check());
    EXPECT_EQ(runs(), 2);
    m_clock.advance(1s);
    ASSERT_TRUE(check());
    EXPECT_EQ(m_connectors.all().size(), 3);
    QFile::remove(m_folder.path(u"agent"_s));
    m_clock.advance(3601s);
    ASSERT_TRUE(check());
    EXPECT_TRUE(m_connectors.all().isEmpty());
    EXPECT_EQ(m_connectors.failure().value_or(Failure()).kind, FailureKind::notInstalled);
    EXPECT_EQ(m_connectors.remembered().size(), 2);
}

TEST_F(ConnectorsTest, aSilentAgentIsGivenUpAfterAMinute) {
    agent("echo ready > '" + m_folder.path(u"ready"_s).toUtf8() + "'\nexec sleep 600\n");
    m_connectors.refresh();
    ASSERT_TRUE(test::eventually([this] { return m_folder.has(u"ready"_s); }));
    m_clock.advance(59s);
    EXPECT_TRUE(m_connectors.checking());
    m_clock.advance(1s);
    EXPECT_TRUE(test::eventually([this] { return !m_connectors.checking(); }));
    EXPECT_TRUE(m_connectors.all().isEmpty());
}
