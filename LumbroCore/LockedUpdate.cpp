#include "LumbroCore/LockedUpdate.h"

#include "LumbroCore/AtomicFile.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <expected>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// An editor saves now and then; a file that changes more often than this is at war with us.
constexpr int mostTries = 50;

QString systemReason() {
    return qt_error_string(errno);
}

/// A file beside the one that it is to replace; gone at the end unless it did.
class Replacement {
  public:
    explicit Replacement(const QString& path)
        : m_path(QFile::encodeName(path)), m_temporary(m_path + ".XXXXXX") {
        m_descriptor = mkostemp(m_temporary.data(), O_CLOEXEC);
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
            unlink(m_temporary.constData());
        }
    }

    /// False with `errno` when not all of it is on the disk.
    bool write(const QByteArray& bytes) {
        const char* next = bytes.constData();
        for (qsizetype left = bytes.size(); m_descriptor >= 0 && left > 0;) {
            const ssize_t written = ::write(m_descriptor, next, static_cast<size_t>(left));
            if (written < 0 && errno != EINTR) {
                return false;
            }
            next += std::max<ssize_t>(written, 0);
            left -= std::max<ssize_t>(written, 0);
        }
        return m_descriptor >= 0 && fsync(m_descriptor) == 0;
    }

    bool takeTheName() {
        if (rename(m_temporary.constData(), m_path.constData()) != 0) {
            return false;
        }
        close(std::exchange(m_descriptor, -1));
        return true;
    }

  private:
    QByteArray m_path;
    QByteArray m_temporary;
    int m_descriptor = -1;
};

Result<std::optional<QByteArray>> readIfThere(const QString& path) {
    auto bytes = readFile(path);
    const QFileInfo info(path);
    if (!bytes && (info.exists() || info.isSymLink())) {
        return fail(u"%1 can't be read and was left as it is."_s.arg(info.fileName()));
    }
    return bytes;
}

/// The file that a path leads to.
QString behindLinks(const QString& path) {
    const QString real = QFileInfo(path).canonicalFilePath();
    return real.isEmpty() ? path : real;
}

}  // namespace

FolderLock::FolderLock(const QString& folder, std::chrono::milliseconds bound)
    : m_descriptor(open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    const auto end = std::chrono::steady_clock::now() + bound;
    while (m_descriptor >= 0 && flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        if (std::chrono::steady_clock::now() >= end) {
            close(std::exchange(m_descriptor, -1));
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

FolderLock::~FolderLock() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

Result<bool> updateFile(const QString& path, const FileChange& change) {
    const QString file = behindLinks(path);
    const auto failed = [&file] {
        return fail(u"can't write %1: %2"_s.arg(QFileInfo(file).fileName(), systemReason()));
    };
    for (int i = 0; i < mostTries; ++i) {
        const auto before = readIfThere(file);
        if (!before) {
            return std::unexpected(before.error());
        }
        const auto after = change(*before);
        if (!after || after == *before) {
            return false;
        }
        Replacement replacement(file);
        if (!replacement.write(*after)) {
            return failed();
        }
        if (readIfThere(file) != before) {
            continue;
        }
        if (!replacement.takeTheName()) {
            return failed();
        }
        return true;
    }
    return fail(u"%1 changes faster than it can be written."_s.arg(QFileInfo(file).fileName()));
}

}  // namespace lumbro
