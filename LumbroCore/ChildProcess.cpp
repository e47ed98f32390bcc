#include "LumbroCore/ChildProcess.h"

#include <QProcess>
#include <QSet>

#include <coroutine>
#include <csignal>
#include <utility>

#include <sys/prctl.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// The children that may be killed with their groups, until they are reaped: then the number may be
/// another's.
QSet<pid_t>& killable() {
    static QSet<pid_t> pids;
    return pids;
}

void forgetAtEnd(QProcess* process) {
    const auto pid = static_cast<pid_t>(process->processId());
    QObject::connect(process, &QProcess::finished, process, [pid] { killable().remove(pid); });
}

/// Lists the child from its start to its end.
void watchKillable(QProcess* process) {
    QObject::connect(process, &QProcess::started, process, [process] {
        killable().insert(static_cast<pid_t>(process->processId()));
        forgetAtEnd(process);
    });
}

/// Lets a child that still runs go: its process object deletes itself once the child has ended. QProcess's
/// own destructor would kill the child and block until it is gone.
void letGo(QProcess* process) {
    process->disconnect();
    const auto dropOutput = [process] {
        process->readAllStandardOutput();
        process->readAllStandardError();
    };
    QObject::connect(process, &QProcess::readyReadStandardOutput, process, dropOutput);
    QObject::connect(process, &QProcess::readyReadStandardError, process, dropOutput);
    forgetAtEnd(process);
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    QObject::connect(process, &QProcess::errorOccurred, process, [process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            process->deleteLater();
        }
    });
    process->terminate();
}

/// The system's reason alone, without the name of the call that failed.
QString startFailure(const QProcess& process) {
    const QString reason = process.errorString().section(u": "_s, 1);
    if (reason.isEmpty()) {
        return process.errorString();
    }
    const bool isFolder = process.errorString().startsWith(u"chdir"_s);
    return isFolder ? u"%1: %2"_s.arg(process.workingDirectory(), reason) : reason;
}

}  // namespace

struct ChildProcess::Private {
    explicit Private(ChildCommand toRun);
    ~Private();

    void start();
    void keep(QByteArray& kept, const QByteArray& piece);
    void feed();
    void takeOutput();
    void complete();

    ChildCommand command;
    // Deleted through the event loop, since it may be in the middle of a signal when we go.
    QProcess* process;
    std::function<void(const QByteArray&)> onOutput;
    std::function<void()> onStarted;
    ChildExit exit;
    std::optional<Failure> failure;
    std::coroutine_handle<> waiting;
    bool isDone = false;
    bool isAbandoned = false;
};

namespace {

template <typename State>
struct UntilDone {
    State& state;

    bool await_ready() const noexcept { return state.isDone; }
    void await_suspend(std::coroutine_handle<> handle) noexcept { state.waiting = handle; }
    void await_resume() const noexcept {}
};

}  // namespace

ChildProcess::Private::Private(ChildCommand toRun) : command(std::move(toRun)), process(new QProcess) {
    QObject::connect(process, &QProcess::started, process, [this] { feed(); });
    QObject::connect(process, &QProcess::readyReadStandardOutput, process, [this] { takeOutput(); });
    QObject::connect(process, &QProcess::readyReadStandardError, process,
                     [this] { keep(exit.errors, process->readAllStandardError()); });
    QObject::connect(process, &QProcess::finished, process, [this](int status, QProcess::ExitStatus how) {
        exit.status = status;
        exit.bySignal = how == QProcess::CrashExit;
        complete();
    });
    QObject::connect(process, &QProcess::errorOccurred, process, [this](QProcess::ProcessError error) {
        // A write error only means that the child did not want its input.
        if (error == QProcess::FailedToStart) {
            failure = Failure{FailureKind::failed, startFailure(*process)};
            complete();
        }
    });
}

ChildProcess::Private::~Private() {
    if (process->state() == QProcess::NotRunning) {
        process->disconnect();
        process->deleteLater();
    } else {
        letGo(process);
    }
}

void ChildProcess::Private::start() {
    process->setProgram(command.program);
    process->setArguments(command.arguments);
    process->setWorkingDirectory(command.workingDirectory);
    if (!command.environment.isEmpty()) {
        process->setProcessEnvironment(command.environment);
    }
    if (command.ownSession) {
        process->setChildProcessModifier([] {
            ::setsid();
            // Killed, we can't ask it any more, and it must not go on with what nobody hears of.
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            // What we ignore, a program that we start would ignore too.
            std::signal(SIGXFSZ, SIG_DFL);
        });
    }
    if (command.ownSession && command.mayBeKilled) {
        watchKillable(process);
    }
    process->start();
}

void ChildProcess::Private::feed() {
    process->write(command.input);
    command.input.clear();
    process->closeWriteChannel();
    if (onStarted && !isAbandoned) {
        onStarted();
    }
}

void ChildProcess::Private::keep(QByteArray& kept, const QByteArray& piece) {
    const qsizetype room = command.keptBytes - kept.size();
    kept += room >= piece.size() ? piece : piece.first(std::max<qsizetype>(room, 0));
    exit.truncated |= room < piece.size();
}

void ChildProcess::Private::takeOutput() {
    const QByteArray piece = process->readAllStandardOutput();
    keep(exit.output, piece);
    if (onOutput && !isAbandoned) {
        onOutput(piece);
    }
}

void ChildProcess::Private::complete() {
    isDone = true;
    if (waiting) {
        std::exchange(waiting, {}).resume();
    }
}

void ChildProcess::ignoreBrokenPipes() {
    static const bool done = std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
    Q_ASSERT(done);
}

ChildProcess::ChildProcess(ChildCommand command) : m_private(std::make_shared<Private>(std::move(command))) {
    ignoreBrokenPipes();
}

ChildProcess::~ChildProcess() {
    m_private->isAbandoned = true;
    terminate();
}

Task<Result<ChildExit>> ChildProcess::run() {
    // The flow keeps the state, and with it the process object, until the child has gone.
    const auto state = m_private;
    Q_ASSERT(!state->isDone && !isRunning());
    state->onOutput = onOutput;
    state->onStarted = onStarted;
    state->start();
    co_await UntilDone<Private>{*state};
    if (state->failure) {
        co_return std::unexpected(*state->failure);
    }
    co_return std::move(state->exit);
}

void ChildProcess::terminate() {
    if (!isRunning()) {
        return;
    }
    m_private->process->terminate();
    const auto pid = static_cast<pid_t>(m_private->process->processId());
    if (m_private->command.ownSession && pid > 1) {
        ::kill(-pid, SIGHUP);
    }
}

void ChildProcess::kill() {
    const auto pid = static_cast<pid_t>(m_private->process->processId());
    if (isRunning() && m_private->command.ownSession && m_private->command.mayBeKilled && pid > 1) {
        ::kill(-pid, SIGKILL);
    }
}

void ChildProcess::killAll() {
    for (const pid_t pid : std::as_const(killable())) {
        ::kill(-pid, SIGKILL);
    }
}

bool ChildProcess::isRunning() const {
    return m_private->process->state() != QProcess::NotRunning;
}

}  // namespace lumbro
