#include "runners/AgentProcess.h"

#include "runners/AgentText.h"

#include <csignal>

namespace lumbro {

namespace {

constexpr int leftOnRequest = 128 + SIGTERM;

/// Hands the process to the caller's handle; a cancel that came during the launch takes effect now.
void attach(const std::shared_ptr<CancellationHandle>& cancel, const std::shared_ptr<ChildProcess>& child) {
    if (cancel == nullptr) {
        return;
    }
    cancel->process = child;
    if (cancel->isCancelled) {
        child->terminate();
    }
}

}  // namespace

Task<Result<AgentEnd>> runAgentProcess(ChildCommand command, Clock& clock,
                                       std::optional<std::chrono::milliseconds> timeout,
                                       std::shared_ptr<CancellationHandle> cancel, AgentOutput onOutput) {
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    // Ctrl-C in the terminal of a command is for us, not for the agent that we wait for.
    command.ownSession = true;
    const auto child = std::make_shared<ChildProcess>(std::move(command));
    Timer watchdog;
    bool isTimeUp = false;
    child->onStarted = [&] {
        attach(cancel, child);
        watchdog.start(clock, timeout.value_or(defaultTimeout), Clock::Repeat::once, [&] {
            isTimeUp = true;
            child->terminate();
        });
    };
    if (onOutput) {
        child->onOutput = [&](const QByteArray& piece) { onOutput(*child, piece); };
    }
    auto exit = co_await child->run();
    watchdog.stop();
    if (!exit) {
        co_return std::unexpected(exit.error());
    }
    const bool timedOut = isTimeUp || exit->bySignal || exit->status == leftOnRequest;
    co_return AgentEnd{std::move(*exit), timedOut};
}

}  // namespace lumbro
