#include "library/CaptureLock.h"

#include <QFile>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lumbro {

namespace {

int openFolder(const QString& folder) {
    return open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// False when another one keeps the lock. A file system without locks counts as one where all are free.
bool take(int descriptor) {
    constexpr int tries = 50;
    for (int i = 0; i < tries; ++i) {
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
            return true;
        }
        // Another process's look at the lock takes it for a moment.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace

CaptureLock::CaptureLock(const QString& folder) : m_descriptor(openFolder(folder)) {
    if (m_descriptor >= 0 && !take(m_descriptor)) {
        close(std::exchange(m_descriptor, -1));
    }
}

CaptureLock::CaptureLock(CaptureLock&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

CaptureLock& CaptureLock::operator=(CaptureLock&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

CaptureLock::~CaptureLock() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

bool CaptureLock::isHeld(const QString& folder) {
    const int descriptor = openFolder(folder);
    if (descriptor < 0) {
        return false;
    }
    const bool held = flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(descriptor);
    return held;
}

}  // namespace lumbro
