#include "runners/ClaudeRunner.h"

#include "runners/AgentFailure.h"
#include "runners/AgentProcess.h"
#include "runners/AgentText.h"
#include "runners/ClaudeCommand.h"
#include "runners/ClaudeOutput.h"
#include "runners/ExecutableSearch.h"

namespace lumbro {

namespace {

// Above this the tool says no, and only on its error output.
constexpr qsizetype longestContext = 10'000'000;

Task<Result<QString>> locateClaude(Settings& settings, Clock& clock,
                                   std::shared_ptr<CancellationHandle> cancel) {
    return locateExecutable(
        settings, clock,
        {.name = u"claude"_s,
         .setting = u"claudeExecutablePath"_s,
         .places = {u"~/.local/bin/claude"_s, u"~/.claude/local/claude"_s, u"/opt/homebrew/bin/claude"_s,
                    u"/usr/local/bin/claude"_s, u"~/.bun/bin/claude"_s, u"~/.npm-global/bin/claude"_s}},
        std::move(cancel));
}

Result<ChildCommand> commandFor(const AgentRequest& request, const QString& executable) {
    ChildCommand command{.program = executable,
                         .arguments = claude::arguments(request),
                         .workingDirectory = request.workingDirectory,
                         .environment = claude::environment(executable),
                         .input = request.context.toUtf8(),
                         .mayBeKilled = true};
    if (const auto fits = agents::checkArguments(u"Claude Code"_s, command.arguments); !fits) {
        return std::unexpected(fits.error());
    }
    if (request.context.size() > longestContext) {
        return fail(
            u"There is too much text for one run of Claude Code, which takes 10 million characters "
            "at most. Shorten it and try again."_s);
    }
    if (command.workingDirectory.isEmpty()) {
        const auto folder = scratchFolder(u"quillet-claude"_s);
        if (!folder) {
            return std::unexpected(folder.error());
        }
        command.workingDirectory = *folder;
    }
    return command;
}

Task<Result<QString>> runClaude(Settings& settings, Clock& clock, AgentRequest request,
                                std::shared_ptr<CancellationHandle> cancel) {
    const auto executable = co_await locateClaude(settings, clock, cancel);
    if (!executable) {
        co_return agents::explained(
            u"claude"_s, std::unexpected(agents::notFound(agents::notInstalled(), executable.error())));
    }
    auto command = commandFor(request, *executable);
    if (!command) {
        co_return std::unexpected(command.error());
    }
    std::optional<claude::EventStream> events;
    AgentOutput onOutput;
    if (request.requireTools || request.onText) {
        events.emplace(request);
        onOutput = [&events](const QByteArray& piece) {
            events->feed(piece);
            return events->refusal() ? AgentWish::end : AgentWish::goOn;
        };
    }
    request.context.clear();
    const auto end = co_await runAgentProcess(std::move(*command), clock, request.timeout, cancel, onOutput);
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    if (!end) {
        co_return agents::explained(u"claude"_s, fail(u"Couldn't start Claude Code: "_s +
                                                      startFailure(*executable, end.error().message)));
    }
    if (!events) {
        co_return agents::explained(u"claude"_s, claude::judge(*end, claude::plainResult(end->exit.output)),
                                    end->exit);
    }
    if (const auto refusal = events->refusal()) {
        co_return agents::explained(u"claude"_s, std::unexpected(*refusal));
    }
    events->finish();
    co_return agents::explained(u"claude"_s, claude::judge(*end, events->result()), end->exit);
}

}  // namespace

ClaudeRunner::ClaudeRunner(Settings& settings, Clock& clock) : m_settings(settings), m_clock(clock) {}

Task<Result<QString>> ClaudeRunner::run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) {
    return runClaude(m_settings, m_clock, std::move(request), std::move(cancel));
}

Task<std::optional<QString>> ClaudeRunner::locate() {
    const auto found = co_await locateClaude(m_settings, m_clock, nullptr);
    co_return found ? std::optional(*found) : std::nullopt;
}

}  // namespace lumbro
