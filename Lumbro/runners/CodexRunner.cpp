#include "runners/CodexRunner.h"

#include "runners/AgentFailure.h"
#include "runners/AgentProcess.h"
#include "runners/AgentText.h"
#include "runners/CodexCommand.h"
#include "runners/CodexOutput.h"
#include "runners/ExecutableSearch.h"

namespace lumbro {

namespace {

// Above this the tool says no, and only on its error output.
constexpr qsizetype longestContext = 1'048'576;
constexpr auto longestStatusCheck = std::chrono::seconds(20);

Task<Result<QString>> locateCodex(Settings& settings, Clock& clock,
                                  std::shared_ptr<CancellationHandle> cancel) {
    return locateExecutable(
        settings, clock,
        {.name = u"codex"_s,
         .setting = u"codexExecutablePath"_s,
         .places = {u"~/.local/bin/codex"_s, u"/opt/homebrew/bin/codex"_s, u"/usr/local/bin/codex"_s,
                    u"~/.bun/bin/codex"_s, u"~/.npm-global/bin/codex"_s,
                    u"/Applications/Codex.app/Contents/Resources/codex"_s}},
        std::move(cancel));
}

/// The tool counts characters, of which some are two of ours.
bool isTooLong(const QString& text) {
    return text.size() > longestContext && text.toUcs4().size() > longestContext;
}

Result<ChildCommand> commandFor(const AgentRequest& request, const QString& executable) {
    QString folder = request.workingDirectory;
    if (folder.isEmpty()) {
        const auto scratch = scratchFolder(u"quillet-codex"_s);
        if (!scratch) {
            return std::unexpected(scratch.error());
        }
        folder = *scratch;
    }
    ChildCommand command{.program = executable,
                         .arguments = codex::arguments(request, folder),
                         .workingDirectory = folder,
                         .environment = codex::environment(executable),
                         .input = request.context.toUtf8()};
    if (const auto fits = agents::checkArguments(u"Codex"_s, command.arguments); !fits) {
        return std::unexpected(fits.error());
    }
    if (isTooLong(request.context)) {
        return fail(
            u"There is too much text for one run of Codex, which takes about a million characters at "
            "most. Shorten it, or choose Claude in Settings, and try again."_s);
    }
    return command;
}

Task<Result<QString>> runCodex(Settings& settings, Clock& clock, AgentRequest request,
                               std::shared_ptr<CancellationHandle> cancel) {
    const auto executable = co_await locateCodex(settings, clock, cancel);
    if (!executable) {
        const Failure absent{FailureKind::failed,
                             u"Codex isn't installed. Install it, then run `codex login` in Terminal."_s};
        co_return agents::explained(u"codex"_s,
                                    std::unexpected(agents::notFound(absent, executable.error())));
    }
    auto command = commandFor(request, *executable);
    if (!command) {
        co_return std::unexpected(command.error());
    }
    request.context.clear();
    codex::EventStream events;
    const AgentOutput onOutput = [&events](const QByteArray& piece) {
        events.feed(piece);
        return AgentWish::goOn;
    };
    const auto end = co_await runAgentProcess(std::move(*command), clock, request.timeout, cancel, onOutput);
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    if (!end) {
        co_return agents::explained(
            u"codex"_s, fail(u"Couldn't start Codex: "_s + startFailure(*executable, end.error().message)));
    }
    events.finish();
    co_return agents::explained(u"codex"_s, codex::judge(*end, events), end->exit);
}

Task<bool> checkSignedIn(Settings& settings, Clock& clock) {
    const auto executable = co_await locateCodex(settings, clock, nullptr);
    if (!executable) {
        co_return false;
    }
    const auto folder = scratchFolder(u"quillet-codex"_s);
    const auto end = co_await runAgentProcess({.program = *executable,
                                               .arguments = {u"login"_s, u"status"_s},
                                               .workingDirectory = folder.value_or(QString()),
                                               .environment = codex::environment(*executable)},
                                              clock, longestStatusCheck, nullptr, {});
    co_return end && !end->exit.bySignal && end->exit.status == 0;
}

}  // namespace

CodexRunner::CodexRunner(Settings& settings, Clock& clock) : m_settings(settings), m_clock(clock) {}

Task<Result<QString>> CodexRunner::run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) {
    return runCodex(m_settings, m_clock, std::move(request), std::move(cancel));
}

Task<std::optional<QString>> CodexRunner::locate() {
    const auto found = co_await locateCodex(m_settings, m_clock, nullptr);
    co_return found ? std::optional(*found) : std::nullopt;
}

Task<bool> CodexRunner::isSignedIn() {
    return checkSignedIn(m_settings, m_clock);
}

}  // namespace lumbro
