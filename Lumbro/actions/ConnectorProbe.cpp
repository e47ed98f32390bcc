#include "actions/ConnectorProbe.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "chats/formats/Redact.h"
#include "runners/AgentProcess.h"
#include "runners/AgentText.h"
#include "runners/ClaudeCommand.h"
#include "runners/LineReader.h"

#include <QDir>

#include <optional>

namespace lumbro {

namespace {

constexpr std::chrono::seconds longestProbe{60};
constexpr qsizetype shownErrors = 400;

ChildCommand commandFor(const QString& executable) {
    return {.program = executable,
            .arguments = {u"-p"_s, u"ok"_s, u"--model"_s, u"haiku"_s, u"--tools"_s, QString(),
                          u"--setting-sources"_s, QString(), u"--output-format"_s, u"stream-json"_s,
                          u"--verbose"_s, u"--max-turns"_s, u"1"_s},
            .workingDirectory = QDir::tempPath(),
            // Has the tool wait for its servers: without it, their tools are missing.
            .environment = claude::environment(executable),
            .input = {},
            .mayBeKilled = true};
}

}  // namespace

Task<Result<ConnectorInit>> probeConnectors(QString executable, Clock& clock) {
    std::optional<ConnectorInit> init;
    int lines = 0;
    LineReader reader([&](const QByteArray& line) {
        ++lines;
        if (!init) {
            init = ConnectorInit::fromLine(line);
        }
    });
    const AgentOutput onOutput = [&](const QByteArray& piece) {
        reader.feed(piece);
        return init ? AgentWish::end : AgentWish::goOn;
    };
    const auto end = co_await runAgentProcess(commandFor(executable), clock, longestProbe, nullptr, onOutput);
    if (!end) {
        AppLog::error(u"action"_s, u"connector check couldn't start Claude Code: "_s + end.error().message);
        co_return fail(u"Couldn't start Claude Code: "_s + end.error().message);
    }
    reader.finish();
    if (!init) {
        const QString reason =
            lastCharacters(Redact::secrets(agents::reasonText(end->exit.errors)), shownErrors);
        AppLog::error(u"action"_s, u"connector check: no init event (lines=%1, exit=%2): %3"_s.arg(
                                       QString::number(lines), QString::number(end->exit.status), reason));
        co_return fail(u"Claude Code didn't tell its connectors"_s +
                       (reason.isEmpty() ? u"; `lumbro doctor` checks it."_s : u": "_s + reason));
    }
    co_return ConnectorInit(*init);
}

}  // namespace lumbro
