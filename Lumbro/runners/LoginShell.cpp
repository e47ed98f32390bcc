#include "runners/LoginShell.h"

#include "LumbroCore/ChildProcess.h"
#include "LumbroCore/Text.h"
#include "runners/AgentText.h"

#include <QDir>
#include <QFileInfo>

#include <coroutine>
#include <utility>

namespace lumbro {

namespace {

constexpr auto longestWait = std::chrono::seconds(10);

bool isProgram(const QString& path) {
    const QFileInfo file(path);
    return file.isFile() && file.isExecutable();
}

QString loginShell() {
    for (const QString& path : {u"/bin/zsh"_s, qEnvironmentVariable("SHELL")}) {
        if (isProgram(path)) {
            return path;
        }
    }
    return u"/bin/bash"_s;
}

/// Start files may print noise, so the answer is the last line.
Result<QString> lastLine(const QByteArray& output) {
    const QStringList lines = QString::fromUtf8(output).split(u'\n', Qt::SkipEmptyParts);
    if (lines.isEmpty()) {
        return fail(FailureKind::notFound, u"Your login shell found nothing."_s);
    }
    return trimmedBlanks(lines.last()).toString();
}

/// One look-up, over when the shell ends or the time is up, whichever comes first.
struct Lookup {
    explicit Lookup(ChildCommand command) : child(std::move(command)) {}

    void finish(Result<QString> found) {
        if (isDone) {
            return;
        }
        isDone = true;
        line = std::move(found);
        if (waiting) {
            std::exchange(waiting, {}).resume();
        }
    }

    bool await_ready() const noexcept { return isDone; }
    void await_suspend(std::coroutine_handle<> handle) noexcept { waiting = handle; }
    void await_resume() const noexcept {}

    ChildProcess child;
    Result<QString> line;
    std::coroutine_handle<> waiting;
    bool isDone = false;
};

Task<> follow(std::shared_ptr<Lookup> lookup) {
    const auto exit = co_await lookup->child.run();
    lookup->finish(exit ? lastLine(exit->output) : Result<QString>(std::unexpected(exit.error())));
}

}  // namespace

Task<Result<QString>> loginShellLine(QString command, Clock& clock,
                                     std::shared_ptr<CancellationHandle> cancel) {
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    // A session of its own: an interactive shell would otherwise take over the terminal that we run in.
    const auto lookup = std::make_shared<Lookup>(ChildCommand{.program = loginShell(),
                                                              .arguments = {u"-lic"_s, command},
                                                              .workingDirectory = QDir::homePath(),
                                                              .ownSession = true});
    // A shell may outlive the clock, so that nothing may be asked of that when the shell ends.
    clock.startTimer(longestWait, Clock::Repeat::once, [weak = std::weak_ptr(lookup)] {
        if (const auto state = weak.lock(); state && !state->isDone) {
            state->child.terminate();
            state->finish(
                fail(FailureKind::timedOut,
                     u"your login shell needs more than 10 seconds to start, so it wasn't asked"_s));
        }
    });
    if (cancel) {
        cancel->process = std::shared_ptr<ChildProcess>(lookup, &lookup->child);
    }
    runDetached(follow(lookup));
    co_await *lookup;
    if (cancel && cancel->isCancelled) {
        co_return std::unexpected(agents::cancelled());
    }
    co_return Result<QString>(lookup->line);
}

}  // namespace lumbro
