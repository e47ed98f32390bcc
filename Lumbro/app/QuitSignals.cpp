#include "app/QuitSignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr std::array signals{SIGINT, SIGTERM, SIGHUP};
std::atomic<int> pipeEnd{-1};

// Only what is safe in a signal handler: the event loop does the rest.
void onSignal(int) {
    const int saved = errno;
    const char byte = 0;
    [[maybe_unused]] const ssize_t written = ::write(pipeEnd.load(), &byte, 1);
    errno = saved;
}

void install(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int number : signals) {
        ::sigaction(number, &action, nullptr);
    }
}

}  // namespace

QuitSignals::QuitSignals() {
    if (::pipe2(m_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    pipeEnd = m_pipe[1];
    m_notifier = std::make_unique<QSocketNotifier>(m_pipe[0], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &QuitSignals::drain);
    install(onSignal);
}

QuitSignals::~QuitSignals() {
    if (m_pipe[0] < 0) {
        return;
    }
    install(SIG_DFL);
    m_notifier.reset();
    pipeEnd = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

void QuitSignals::drain() {
    std::array<char, 16> bytes;
    while (::read(m_pipe[0], bytes.data(), bytes.size()) > 0) {
    }
    Q_EMIT quitRequested();
}

}  // namespace lumbro
