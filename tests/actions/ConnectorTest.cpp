#include "LumbroCore/Literals.h"
#include "actions/formats/Connector.h"
#include "actions/formats/ConnectorList.h"
#include "actions/formats/ConnectorNames.h"

#include <gtest/gtest.h>

using namespace lumbro;
using Status = Connector::Status;

TEST(ConnectorNames, accountNamesBecomeToolPrefixes) {
    const std::pair<QString, QString> rows[] = {
        {u"claude.ai Slack"_s, u"mcp__claude_ai_Slack"_s},
        {u"claude.ai Jira & Co"_s, u"mcp__claude_ai_Jira_Co"_s},
        {u"claude.ai Ünïted (beta)"_s, u"mcp__claude_ai_n_ted_beta"_s},
        {u"my server  2"_s, u"mcp__my_server__2"_s},
        {u"notes-app_"_s, u"mcp__notes-app_"_s},
    };
    for (const auto& [name, prefix] : rows) {
        EXPECT_EQ(mcpPrefix(name), prefix);
    }
    const QStringList patterns = deletionPatterns(u"mcp__slack"_s);
    for (const char* pattern : {"mcp__slack__*delete*", "mcp__slack__*Trash*", "mcp__slack__*purge*"}) {
        EXPECT_TRUE(patterns.contains(QString::fromLatin1(pattern))) << pattern;
    }
}

TEST(Connector, deletingToolsAreToldByTheirOwnName) {
    const Connector connector{
        .id = u"claude.ai Remove It"_s,
        .tools = {u"mcp__claude_ai_Remove_It__get_page"_s, u"mcp__claude_ai_Remove_It__deletePage"_s,
                  u"mcp__claude_ai_Remove_It__page__PURGE__all"_s,
                  u"mcp__claude_ai_Remove_It__list_archived"_s}};
    EXPECT_EQ(connector.destructiveTools(), connector.tools.sliced(1));
    EXPECT_EQ(connector.deletionGuard(),
              deletionPatterns(u"mcp__claude_ai_Remove_It"_s) + connector.destructiveTools());
}

TEST(ConnectorInit, onlyTheInitEventIsRead) {
    for (const char* line :
         {"", "init", "[]", "{\"subtype\":1}", "{\"type\":\"system\"}", "{\"subtype\":\"init\""}) {
        EXPECT_FALSE(ConnectorInit::fromLine(line)) << line;
    }
    const auto empty =
        ConnectorInit::fromLine("{\"subtype\":\"init\",\"tools\":{},\"mcp_servers\":[1,{},{\"name\":2}]}");
    EXPECT_EQ(empty, ConnectorInit());
    const auto init = ConnectorInit::fromLine(
        R"({"subtype":"init","tools":["Read","mcp__a__x",7],"mcp_servers":[{"name":"a","status":"connected"},
            {"name":"b","status":"needs-auth"},{"name":"c","status":"failed"},{"name":"d","status":"pending"},
            {"name":"e"}]})");
    EXPECT_EQ(init, (ConnectorInit{.servers = {{u"a"_s, Status::connected},
                                               {u"b"_s, Status::needsLogin},
                                               {u"c"_s, Status::failed},
                                               {u"d"_s, Status::unknown},
                                               {u"e"_s, Status::unknown}},
                                   .tools = {u"mcp__a__x"_s}}));
}

TEST(ConnectorList, accountConnectorsGoBeforeTheUsersOwnServers) {
    const auto configs = localConnectorConfigs(
        R"({"mcpServers":{"my-linear":{"command":"l"},"my-trello":{"command":"t"},"second-trello":{},"odd":{}}})");
    const ConnectorInit init{.servers = {{u"my-linear"_s, Status::connected},
                                         {u"my-trello"_s, Status::failed},
                                         {u"second-trello"_s, Status::connected},
                                         {u"odd"_s, Status::connected},
                                         {u"slack-without-config"_s, Status::connected},
                                         {u"claude.ai Atlassian"_s, Status::connected},
                                         {u"claude.ai Jira"_s, Status::needsLogin},
                                         {u"claude.ai Linear"_s, Status::unknown},
                                         {u"claude.ai Own Thing"_s, Status::connected}},
                             .tools = {u"mcp__claude_ai_Linear__add"_s, u"mcp__claude_ai_Linear2__add"_s,
                                       u"mcp__my-trello__delete_card"_s}};
    QStringList lines;
    for (const Connector& each : connectorList(init, configs)) {
        lines << u"%1=%2 %3 %4 %5"_s.arg(each.app, each.id, each.config.value_or(u"-"_s),
                                         each.featured ? u"known"_s : u"other"_s, each.tools.join(u','));
    }
    EXPECT_EQ(lines, (QStringList{
                         u"Jira=claude.ai Atlassian - known "_s,
                         u"Jira=claude.ai Jira - known "_s,
                         u"Linear=claude.ai Linear - known mcp__claude_ai_Linear__add"_s,
                         u"Own Thing=claude.ai Own Thing - other "_s,
                         u"Trello=my-trello {\"mcpServers\":{\"my-trello\":{\"command\":\"t\"}}} known "
                         "mcp__my-trello__delete_card"_s,
                     }));
}

TEST(ConnectorList, anyConfigurationFileGivesAMap) {
    for (const char* bytes : {"", "{", "[]", "{\"mcpServers\":[]}", "{\"mcpServers\":\"x\"}", "\xff\xfe"}) {
        EXPECT_TRUE(localConnectorConfigs(bytes).isEmpty()) << bytes;
    }
}
