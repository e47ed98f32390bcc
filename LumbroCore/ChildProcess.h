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

/// What to start. `environment` is the child's whole environment.
struct ChildCommand {
    QString program;
    QStringList arguments;
    QString workingDirectory;
    QProcessEnvironment environment;
    QByteArray input;
};

/// How a child ended.
struct ChildExit {
    int status = 0;
    bool bySignal = false;
    QByteArray output;
    QByteArray errors;
};

/// One child process with three pipes, the only way the application runs programs. All calls on the main
/// thread. Input is written and both outputs are drained while the child runs; stdin is closed after the
/// input. A grandchild that keeps the pipes open does not hold us: once the child itself has gone, what is in
/// the pipes is read for a moment and the rest is left.
class ChildProcess {
  public:
    explicit ChildProcess(ChildCommand command);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    /// Asks a child that still runs to terminate and lets it go.
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
    bool isRunning() const;

  private:
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
