#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QByteArray>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// What to start. `environment` is the child's whole environment; a default one is a copy of our own. A
/// program without a "/" is looked up on the PATH.
struct ChildCommand {
    QString program{};
    QStringList arguments{};
    QString workingDirectory{};
    QProcessEnvironment environment{};
    QByteArray input{};
    /// How many bytes of each of the two outputs are kept. What comes beyond is read and dropped.
    qsizetype keptBytes = qsizetype(64) * 1024 * 1024;
    /// Gives the child a session of its own, so that it can't reach for our terminal. `terminate` then hangs
    /// up on it as well, for shells, which ignore the other signal. Such a child is asked to end when we end,
    /// however that comes.
    bool ownSession = false;
    /// `kill` ends it, with all that it has started in its session. Not for launchers, whose own child would
    /// live on with our pipes.
    bool mayBeKilled = false;
};

/// How a child ended.
struct ChildExit {
    /// Exit status, or the signal's number when a signal ended it.
    int status = 0;
    bool bySignal = false;
    QByteArray output;
    QByteArray errors;
    /// An output was longer than the command lets us keep.
    bool truncated = false;
};

/// One child process with three pipes, the only way the application runs programs. All calls on the main
/// thread. Input is written and both outputs are drained while the child runs; stdin is closed after the
/// input. A grandchild that keeps the pipes open does not hold us: once the child itself has gone, what is in
/// the pipes is read for a moment and the rest is left.
class ChildProcess {
  public:
    /// A write to a child that has gone must come back as an error, not end us. Called by `main`, and by
    /// every ChildProcess for programs that don't.
    static void ignoreBrokenPipes();

    explicit ChildProcess(ChildCommand command);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Asks a child that still runs to terminate and lets it go, without waiting. Callbacks stop; a pending
    /// `run` still resolves once the child has gone.
    ~ChildProcess();

    /// Called with each piece of standard output as it comes. Set before `run`.
    std::function<void(const QByteArray&)> onOutput;
    /// Called once, right after a successful launch. Set before `run`.
    std::function<void()> onStarted;

    /// Starts the child and waits for its end, without blocking the thread. Fails only when the child cannot
    /// be started, with the system's reason as message. Called once.
    Task<Result<ChildExit>> run();

    /// Asks the child to end (SIGTERM). Nothing when it is not running.
    void terminate();
    /// Ends a child that may be killed and has a session of its own (SIGKILL to all of its group). Nothing
    /// for others.
    void kill();
    bool isRunning() const;

    /// Does so to every child that still runs, those that were let go included. For a program that ends at
    /// once and leaves nobody behind.
    static void killAll();

  private:
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
