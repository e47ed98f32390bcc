#include "cli/StopSignals.h"

#include <QObject>

#include <utility>

#include <sys/signalfd.h>
#include <unistd.h>

namespace lumbro::cli {

StopSignals::StopSignals(std::function<void()> stop) : m_stop(std::move(stop)) {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&wanted, signal);
    }
    m_descriptor = signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
    pthread_sigmask(m_descriptor < 0 ? SIG_UNBLOCK : SIG_BLOCK, &wanted, &m_before);
    if (m_descriptor < 0) {
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] {
        signalfd_siginfo info{};
        if (read(m_descriptor, &info, sizeof(info)) > 0) {
            m_stop();
        }
    });
}

StopSignals::~StopSignals() {
    m_notifier.reset();
    if (m_descriptor >= 0) {
        // A second one that waits must not end the process after all.
        signalfd_siginfo info{};
        while (read(m_descriptor, &info, sizeof(info)) > 0) {
        }
        close(m_descriptor);
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace lumbro::cli
