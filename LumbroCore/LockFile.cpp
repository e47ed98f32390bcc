#include "LumbroCore/LockFile.h"

#include <QFile>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr mode_t privateMode = 0600;

/// The file that was opened is still the one of that name: its owner may have removed it meanwhile.
bool isStillThere(int descriptor, const QByteArray& path) {
    struct stat opened = {};
    struct stat named = {};
    return fstat(descriptor, &opened) == 0 && stat(path.constData(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

}  // namespace

LockFile::LockFile(const QString& path) : m_path(QFile::encodeName(path)) {
    while (true) {
        m_descriptor = open(m_path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, privateMode);
        if (m_descriptor < 0) {
            return;
        }
        if (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            close(std::exchange(m_descriptor, -1));
            m_isMine = false;
            return;
        }
        if (isStillThere(m_descriptor, m_path)) {
            return;
        }
        close(m_descriptor);
    }
}

std::optional<bool> LockFile::isTaken(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    const int descriptor = open(name.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0) {
        return errno == ENOENT ? std::optional(false) : std::nullopt;
    }
    const bool isFree = flock(descriptor, LOCK_SH | LOCK_NB) == 0;
    const bool isHeld = !isFree && errno == EWOULDBLOCK;
    close(descriptor);
    return isFree || isHeld ? std::optional(isHeld) : std::nullopt;
}

LockFile::LockFile(LockFile&& other) noexcept
    : m_path(std::move(other.m_path)),
      m_descriptor(std::exchange(other.m_descriptor, -1)),
      m_isMine(other.m_isMine) {}

LockFile::~LockFile() {
    if (m_descriptor >= 0) {
        unlink(m_path.constData());
        close(m_descriptor);
    }
}

}  // namespace lumbro
