#include "tests/support/Program.h"

#include <QDir>
#include <QFile>

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumbro::test {

namespace {

using namespace std::chrono_literals;

QList<QByteArray> encoded(const QStringList& texts) {
    QList<QByteArray> all;
    for (const QString& text : texts) {
        all.append(QFile::encodeName(text));
    }
    return all;
}

/// The form in which exec wants texts; good while `texts` is.
std::vector<char*> pointers(QList<QByteArray>& texts) {
    std::vector<char*> all;
    for (QByteArray& text : texts) {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

/// Whether a process of the group may still hold what it had open. Dead ones that nobody waits for don't
/// count, once their last thread has ended.
bool isGroupRunning(pid_t group) {
    for (const QString& name : QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs)) {
        QFile file(u"/proc/"_s + name + u"/stat"_s);
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        // PID (NAME) STATE PARENT GROUP ... THREADS ..., and the name may hold anything.
        const QByteArray line = file.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        const bool isDead = fields.first() == "Z" || fields.first() == "X";
        if (fields.value(2).toInt() == group && (!isDead || fields.value(17).toInt() > 1)) {
            return true;
        }
    }
    return false;
}

/// A group of its own, and the signals as a program expects them.
void setAttributes(posix_spawnattr_t& attributes) {
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

}  // namespace

Program::Program(const QStringList& command, const ProgramSetting& setting) {
    int pipe[2] = {-1, -1};
    if (pipe2(pipe, O_CLOEXEC) != 0) {
        return;
    }
    m_input = pipe[1];
    constexpr int append = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, pipe[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, QFile::encodeName(setting.output).constData(),
                                     append, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, QFile::encodeName(setting.errors).constData(),
                                     append, 0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    setAttributes(attributes);
    QList<QByteArray> words = encoded(command);
    QList<QByteArray> variables = encoded(setting.environment.toStringList());
    pid_t process = -1;
    if (posix_spawnp(&process, words.first().constData(), &files, &attributes, pointers(words).data(),
                     pointers(variables).data()) == 0) {
        m_process = process;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    ::close(pipe[0]);
}

Program::~Program() {
    end();
    ::close(m_input);
}

bool Program::hasEndedWithin(std::chrono::milliseconds bound) const {
    const int watch = static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0));
    pollfd event{.fd = watch, .events = POLLIN, .revents = 0};
    const int count = ::poll(&event, 1, static_cast<int>(bound.count()));
    ::close(watch);
    return count == 1;
}

std::optional<int> Program::wait(std::chrono::milliseconds bound) {
    if (!m_status && isStarted() && hasEndedWithin(bound)) {
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return m_status;
}

void Program::signalGroup(int signal) const {
    // Once it has been waited for, its number may be another's.
    if (isStarted() && !m_status) {
        ::kill(-m_process, signal);
    }
}

void Program::terminate() const {
    signalGroup(SIGTERM);
}

void Program::end() {
    if (!isStarted() || m_status) {
        return;
    }
    signalGroup(SIGTERM);
    hasEndedWithin(3s);
    // Also for what outlives the first of its group.
    signalGroup(SIGKILL);
    while (isGroupRunning(m_process)) {
        ::usleep(1000);
    }
    wait();
}

}  // namespace lumbro::test
