#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "mcp/McpArguments.h"
#include "mcp/McpServer.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

// Says a word back; fails for "bad" and gives too much for "long".
Result<McpToolResult> echo(const QJsonObject& arguments) {
    const QString word = arguments[u"word"_s].toString();
    if (word == u"bad") {
        return fail(u"No such word."_s);
    }
    const QString text = word == u"long" ? QString(McpServer::mostText / 2 + 1, u'x') : word;
    return McpToolResult{.text = text, .structured = {{u"word"_s, word}}};
}

McpServer echoServer() {
    const QJsonObject schema = json::object(R"({"type":"object","required":["word"],
        "properties":{"word":{"type":"string","minLength":1,"maxLength":20}}})");
    return McpServer({u"1.2"_s, u"Say a word."_s}, {{.name = u"echo"_s,
                                                     .title = u"Echo"_s,
                                                     .description = u"Says it back"_s,
                                                     .inputSchema = schema,
                                                     .call = echo}});
}

const QByteArray hello =
    R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18","capabilities":{}}})";

QByteArray call(const QByteArray& params) {
    return R"({"jsonrpc":"2.0","id":7,"method":"tools/call","params":)" + params + '}';
}

int errorOf(const QByteArray& answer) {
    return json::object(answer)[u"error"][u"code"].toInt();
}

struct Row {
    QByteArray line;
    /// What the answer holds; empty for no answer.
    QByteArray part;
};

}  // namespace

TEST(McpServer, answersEachLineAsTheProtocolSays) {
    McpServer server = echoServer();
    ASSERT_FALSE(server.answer(hello).isEmpty());
    const QList<Row> rows{
        {R"({"jsonrpc":"2.0","id":"a","method":"ping"})", R"({"id":"a","jsonrpc":"2.0","result":{}})"},
        {R"({"jsonrpc":"2.0","id":9007199254740993,"method":"ping"})", R"("id":9007199254740993,)"},
        {R"({"jsonrpc":"2.0","params":{"id":1},"id" : 18446744073709551615,"method":"ping"})",
         R"("id":18446744073709551615,)"},
        {R"({"jsonrpc":"2.0","id":1.50,"method":"none"})", R"("id":1.50,)"},
        {R"({"jsonrpc":"2.0","id":1,"\u0069d":"a\"b","method":"ping"})", R"("id":"a\"b",)"},
        {R"({"jsonrpc":"2.0","method":"notifications/initialized"})", ""},
        {R"({"jsonrpc":"2.0","method":"tools/call","params":{"name":"echo"}})", ""},
        {R"({"jsonrpc":"2.0","id":1,"result":{}})", ""},
        {R"({"jsonrpc":"2.0","id":null,"error":{"code":1,"message":"x"}})", ""},
        {" \r", ""},
        {"{", "-32700"},
        {"7", "-32600"},
        {" \"x\" ", "-32600"},
        {"null", "-32600"},
        {"true false", "-32700"},
        {"1,2", "-32700"},
        {"[]", "-32600"},
        {R"([{"jsonrpc":"2.0","id":1,"method":"ping"}])", R"("id":null)"},
        {"\"\xff\"", "-32700"},
        {QByteArray(5000, '['), "-32700"},
        {R"({"id":3,"method":"ping"})", R"(-32600,)"},
        {R"({"jsonrpc":"2.0","id":null,"method":"ping"})", R"("id":null)"},
        {R"({"jsonrpc":"2.0","id":3,"method":4})", "-32600"},
        {R"({"jsonrpc":"2.0","id":3,"method":"ping","params":[1]})", "-32602"},
        {R"({"jsonrpc":"2.0","id":3,"method":"resources/list"})", "-32601"},
        {R"({"jsonrpc":"2.0","id":3,"method":"tools/list","params":{"cursor":"x"}})", "-32602"},
        {R"({"jsonrpc":"2.0","id":3,"method":"tools/list"})", R"("readOnlyHint":true)"},
        {call("{}"), "-32602"},
        {call(R"({"name":"nothing"})"), "-32602"},
        {call(R"({"name":"echo","arguments":[]})"), "-32602"},
        {call(R"({"name":"echo","arguments":{"word":"hi"}})"),
         R"("result":{"content":[{"text":"hi","type":"text"}],"isError":false,"structuredContent":{"word":"hi"}}})"},
        {call(R"({"name":"echo","arguments":{"word":"bad"}})"),
         R"({"content":[{"text":"No such word.","type":"text"}],"isError":true})"},
        {call(R"({"name":"echo"})"), R"("isError":true)"},
    };
    for (const Row& row : rows) {
        const QByteArray answer = server.answer(row.line);
        EXPECT_TRUE(row.part.isEmpty() ? answer.isEmpty() : answer.contains(row.part))
            << row.line.constData() << " -> " << answer.constData();
        EXPECT_FALSE(answer.contains('\n'));
    }
}

TEST(McpServer, agreesOnARevisionBeforeAnythingElse) {
    for (const auto& [asked, given] : {std::pair{"2024-11-05", "2024-11-05"},
                                       {"2025-03-26", "2025-03-26"},
                                       {"2099-01-01", "2025-06-18"}}) {
        McpServer server = echoServer();
        const QByteArray list = R"({"jsonrpc":"2.0","id":2,"method":"tools/list"})";
        EXPECT_EQ(errorOf(server.answer(list)), -32600);
        EXPECT_EQ(errorOf(server.answer(R"({"jsonrpc":"2.0","id":2,"method":"ping"})")), 0);
        EXPECT_EQ(errorOf(server.answer(R"({"jsonrpc":"2.0","id":2,"method":"initialize"})")), -32602);
        EXPECT_EQ(errorOf(server.answer(list)), -32600);
        QByteArray line = hello;
        const QJsonValue result = json::object(server.answer(line.replace("2025-06-18", asked)))[u"result"_s];
        EXPECT_EQ(result[u"protocolVersion"].toString(), QString::fromLatin1(given));
        EXPECT_EQ(result[u"serverInfo"][u"version"].toString(), u"1.2"_s);
        EXPECT_EQ(errorOf(server.answer(list)), 0);
    }
}

TEST(McpServer, answersABatchWithABatch) {
    McpServer server = echoServer();
    EXPECT_TRUE(server.answer('[' + hello + ']').startsWith("[{\"error\":{\"code\":-32600"));
    server.answer(QByteArray(hello).replace("2025-06-18", "2025-03-26"));
    EXPECT_TRUE(
        server
            .answer(
                R"([{"jsonrpc":"2.0","id":1e2,"method":"ping"},["id",{"id":5}],{"jsonrpc":"2.0","method":"ping","id":2e2}])")
            .contains(R"({"id":2e2,)"));
    const QByteArray ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
    const QByteArray note = R"({"jsonrpc":"2.0","method":"notifications/cancelled"})";
    const QJsonArray answers = json::array(server.answer('[' + ping + ',' + note + ",5," + ping + ']'));
    ASSERT_EQ(answers.size(), 3);
    EXPECT_EQ(answers[1][u"error"][u"code"].toInt(), -32600);
    EXPECT_EQ(server.answer('[' + note + ']'), QByteArray());
    EXPECT_EQ(errorOf(server.answer("[]")), -32600);
    EXPECT_EQ(errorOf(server.answer('[' + (ping + ',').repeated(100) + ping + ']')), -32600);
    // The answers to one line stay bounded.
    const QByteArray big = call(R"({"name":"echo","arguments":{"word":"long"}})");
    const QJsonArray several = json::array(server.answer('[' + big + ',' + big + ']'));
    EXPECT_FALSE(several[0][u"result"][u"isError"].toBool());
    EXPECT_TRUE(several[1][u"result"][u"isError"].toBool());
    EXPECT_FALSE(json::object(server.answer(big))[u"result"][u"isError"].toBool());
}

TEST(McpArguments, saysWhatTheSchemaForbids) {
    const QJsonObject schema = json::object(R"({"required":["query"],"properties":{
        "query":{"type":"string","minLength":1,"maxLength":5},"part":{"type":"string","enum":["one","two"]},
        "limit":{"type":"integer","minimum":1,"maximum":100},"due":{"type":"boolean"}}})");
    const QList<std::pair<QByteArray, QString>> rows{
        {R"({"query":"a","limit":100,"part":"two","due":false})", u""_s},
        {R"({"query":"a","limit":null})", u""_s},
        {R"({"query":null})", u"The argument \"query\" is missing."_s},
        {R"({"query":" "})", u"The argument \"query\" takes a text."_s},
        {R"({"query":["a"]})", u"The argument \"query\" takes a text."_s},
        {R"({"query":"123456"})", u"The argument \"query\" takes at most 5 characters."_s},
        {R"({"query":"a","limit":0})", u"The argument \"limit\" takes a whole number from 1 to 100."_s},
        {R"({"query":"a","limit":1.5})", u"The argument \"limit\" takes a whole number from 1 to 100."_s},
        {R"({"query":"a","limit":"5"})", u"The argument \"limit\" takes a whole number from 1 to 100."_s},
        {R"({"query":"a","part":"three"})", u"The argument \"part\" takes one of: one, two."_s},
        {R"({"query":"a","due":1})", u"The argument \"due\" takes true or false."_s},
        {R"({"query":"a","id":1})",
         u"There is no argument \"id\"; this tool takes: due, limit, part, query."_s},
    };
    for (const auto& [arguments, sentence] : rows) {
        EXPECT_EQ(wrongMcpArgument(schema, json::object(arguments)).value_or(QString()), sentence)
            << arguments.constData();
    }
}
