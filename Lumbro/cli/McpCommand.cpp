#include "cli/McpCommand.h"

#include "LumbroCore/AppLog.h"
#include "cli/McpTools.h"
#include "cli/StopSignals.h"
#include "mcp/LineChannel.h"
#include "mcp/McpServer.h"

#include <QCoroSignal>

#include <unistd.h>

namespace lumbro::cli {

Task<int> mcp(CommandContext context) {
    if (isatty(STDIN_FILENO) != 0) {
        context.output.say(
            u"Waiting for a client of the Model Context Protocol; `lumbro mcp --help` says how to set one up."_s);
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    const Settings settings;
    McpTools tools(clock, settings, ContextLibrary::rootFromEnvironment());
    McpServer server({QStringLiteral(LUMBRO_VERSION), McpTools::instructions()}, tools.table());
    LineChannel channel(STDIN_FILENO, STDOUT_FILENO, clock, McpServer::mostBytes,
                        {.answer = [&server](const QByteArray& line) { return server.answer(line); },
                         .answerTooLong = [] { return McpServer::answerTooLong(); }});
    const StopSignals signals([&channel] { channel.stop(); });
    AppLog::info(u"mcp"_s, u"A client is served."_s);
    const bool isWell = co_await qCoro(&channel, &LineChannel::ended);
    AppLog::info(u"mcp"_s, u"The client is gone."_s);
    co_return isWell ? 0 : 1;
}

}  // namespace lumbro::cli
