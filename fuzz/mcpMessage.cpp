// Lines of a client: each is answered with one line of JSON or with nothing, and a refusal names a reason.
#include "Check.h"
#include "LumbroCore/Literals.h"
#include "mcp/McpServer.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace lumbro;

namespace {

McpServer server() {
    const QJsonObject text{{u"type"_s, u"string"_s}, {u"minLength"_s, 1}, {u"maxLength"_s, 9}};
    const QJsonObject number{{u"type"_s, u"integer"_s}, {u"minimum"_s, 1}, {u"maximum"_s, 9}};
    const QJsonObject schema{{u"properties"_s, QJsonObject{{u"text"_s, text}, {u"number"_s, number}}}};
    return McpServer({}, {{.name = u"echo"_s,
                           .title = {},
                           .description = {},
                           .inputSchema = schema,
                           .call = [](const QJsonObject& arguments) {
                               return Result<McpToolResult>({arguments[u"text"_s].toString(), arguments});
                           }}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    McpServer echo = server();
    for (const QByteArray& line : fuzz::bytes(data, size).split('\n')) {
        const QByteArray answer = echo.answer(line);
        fuzz::check(!answer.contains('\n'));
        const QJsonDocument document = QJsonDocument::fromJson(answer);
        fuzz::check(answer.isEmpty() || !document.isNull());
        for (const auto one : document.isArray() ? document.array() : QJsonArray{document.object()}) {
            fuzz::check(answer.isEmpty() || one[u"result"].isObject() || one[u"error"][u"code"].toInt() < 0);
        }
    }
    return 0;
}
