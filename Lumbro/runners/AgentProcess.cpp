#include "runners/AgentProcess.h"

#include "runners/AgentText.h"

#include <coroutine>
#include <csignal>
#include <utility>

namespace lumbro {

namespace {

constexpr int leftOnRequest = 128 + SIGTERM;
constexpr int longestFarewell = 10;

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

/// One run, over when the process ends or when it has not obeyed for too long, whichever comes first.
struct AgentRun {
    explicit AgentRun(ChildCommand command) : child(std::make_shared<ChildProcess>(std::move(command))) {}

    void finish(Result<ChildExit> how) {
        if (isDone) {
            return;
        }
        isDone = true;
        exit = std::move(how);
        watchdog.stop();
        pulse.stop();
        // Lets a process that still runs go, without a word from it from now on.
        child.reset();
        if (waiting) {
            std::exchange(waiting, {}).resume();
        }
    }

    /// Once a second: counts how long the process has been asked to end.
    void count(bool isAsked) {
        secondsAsked += isAsked ? 1 : 0;
        if (secondsAsked >= longestFarewell) {
            child->kill();
            finish(ChildExit{.status = SIGTERM, .bySignal = true, .output = {}, .errors = {}});
        }
    }

    bool await_ready() const noexcept { return isDone; }
    void await_suspend(std::coroutine_handle<> handle) noexcept { waiting = handle; }
    void await_resume() const noexcept {}

    std::shared_ptr<ChildProcess> child;
    Timer watchdog;
    Timer pulse;
    Result<ChildExit> exit;
    std::coroutine_handle<> waiting;
    int secondsAsked = 0;
    bool isTimeUp = false;
    bool isUnwanted = false;
    bool isDone = false;
};

Task<> follow(std::shared_ptr<AgentRun> run) {
    auto exit = co_await run->child->run();
    run->finish(std::move(exit));
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
    const auto run = std::make_shared<AgentRun>(std::move(command));
    run->child->onStarted = [&, state = run.get()] {
        attach(cancel, state->child);
        state->watchdog.start(clock, timeout.value_or(defaultTimeout), Clock::Repeat::once, [state] {
            state->isTimeUp = true;
            state->child->terminate();
        });
        state->pulse.start(clock, std::chrono::seconds(1), Clock::Repeat::always, [state, cancel] {
            state->count(state->isTimeUp || state->isUnwanted || (cancel && cancel->isCancelled));
        });
    };
    if (onOutput) {
        run->child->onOutput = [&, state = run.get()](const QByteArray& piece) {
            if (onOutput(piece) == AgentWish::end && !std::exchange(state->isUnwanted, true)) {
                state->child->terminate();
            }
        };
    }
    runDetached(follow(run));
    co_await *run;
    if (!run->exit) {
        co_return std::unexpected(run->exit.error());
    }
    const bool timedOut = run->isTimeUp || run->exit->bySignal || run->exit->status == leftOnRequest;
    co_return AgentEnd{std::move(*run->exit), timedOut, run->isTimeUp};
}

}  // namespace lumbro
