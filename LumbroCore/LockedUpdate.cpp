#include "LumbroCore/LockedUpdate.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
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

/// Between a dot with the file's name and six characters at random: what a change under way is called.
constexpr QStringView underWay = u".lumbro-";
constexpr qsizetype randomSize = 6;

QByteArray temporaryFor(const QString& path) {
    const QFileInfo info(path);
    const QString name = info.path() + u"/."_s + info.fileName() + underWay.toString();
    return QFile::encodeName(name) + QByteArray(randomSize, 'X');
}

bool writeAll(int descriptor, QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), static_cast<size_t>(bytes.size()));
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.sliced(std::max<ssize_t>(written, 0));
    }
    return true;
}

/// Waits, for moments only, until no program has the file open for writing.
void awaitWriters(const QByteArray& path) {
    constexpr int mostWaits = 50;
    const int file = open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return;
    }
    // The kernel grants a lease on a file that nobody is writing. The signal that tells of its end would, by
    // itself, end the process; this one does nothing.
    fcntl(file, F_SETSIG, SIGURG);
    for (int i = 0; i < mostWaits && fcntl(file, F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    fcntl(file, F_SETLEASE, F_UNLCK);
    close(file);
}

enum class Placed { written, changedMeanwhile, failed };

/// A file beside the one that it is to replace; gone at the end, as is what it has replaced.
class Replacement {
  public:
    explicit Replacement(const QString& path)
        : m_path(QFile::encodeName(path)), m_temporary(temporaryFor(path)) {}
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (m_isThere) {
            unlink(m_temporary.constData());
        }
    }

    /// False with `errno` when not all of it is on the disk.
    bool write(const QByteArray& bytes) {
        const int file = mkostemp(m_temporary.data(), O_CLOEXEC);
        m_isThere = file >= 0;
        const bool isWritten = m_isThere && writeAll(file, bytes) && fsync(file) == 0;
        const int reason = errno;
        if (m_isThere) {
            close(file);
        }
        errno = reason;
        return isWritten;
    }

    /// Gives the written bytes the file's name, unless its bytes are not `before` any more. `failed` comes
    /// with `errno`.
    Placed place(const std::optional<QByteArray>& before, const QByteArray& after) {
        if (!rename(before ? RENAME_EXCHANGE : RENAME_NOREPLACE)) {
            if (errno == ENOENT || errno == EEXIST) {
                return Placed::changedMeanwhile;
            }
            const bool isUnknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
            return isUnknown && rename(0) ? Placed::written : Placed::failed;
        }
        if (!before || displaced() == before) {
            return Placed::written;
        }
        return putBack(after);
    }

  private:
    bool rename(unsigned flags) {
        const int done =
            flags == 0 ? ::rename(m_temporary.constData(), m_path.constData())
                       : renameat2(AT_FDCWD, m_temporary.constData(), AT_FDCWD, m_path.constData(), flags);
        m_isThere = m_isThere && (done != 0 || flags == RENAME_EXCHANGE);
        return done == 0;
    }

    std::optional<QByteArray> displaced() const {
        awaitWriters(m_temporary);
        return readFile(QFile::decodeName(m_temporary));
    }

    /// The file that somebody has changed gets its name back, with what came to stand in ours meanwhile.
    Placed putBack(const QByteArray& after) {
        const auto again = [](bool isDone) {
            return isDone || errno == ENOENT ? Placed::changedMeanwhile : Placed::failed;
        };
        if (!rename(RENAME_EXCHANGE)) {
            return again(false);
        }
        const auto ours = displaced();
        if (!ours || ours == after) {
            return Placed::changedMeanwhile;
        }
        return again(ours->startsWith(after) ? append(ours->sliced(after.size())) : rename(RENAME_EXCHANGE));
    }

    bool append(const QByteArray& bytes) const {
        const int file = open(m_path.constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
        const bool isWritten = file >= 0 && writeAll(file, bytes);
        const int reason = errno;
        if (file >= 0) {
            close(file);
        }
        errno = reason;
        return isWritten;
    }

    QByteArray m_path;
    QByteArray m_temporary;
    bool m_isThere = false;
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

/// Whether all of a leftover's bytes stand at the beginning of the file that it was made for.
bool isHeldBy(const QString& file, const QString& leftover) {
    const auto bytes = readFile(leftover);
    return bytes && (bytes->isEmpty() || readFile(file).value_or(QByteArray()).startsWith(*bytes));
}

/// An update killed at the wrong moment leaves what an editor saved nowhere else, and nothing tells that from
/// what the update itself wrote or replaced.
bool isInTrash(const QString& leftover) {
    const auto moved = moveToTrash(leftover);
    if (moved) {
        AppLog::info(u"files"_s, u"an update did not end; moved %1 to the Trash as %2"_s.arg(
                                     QFileInfo(leftover).fileName(), *moved));
    } else {
        AppLog::error(u"files"_s, moved.error().message);
    }
    return moved.has_value();
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
        if (const Placed placed = replacement.place(*before, *after); placed != Placed::changedMeanwhile) {
            return placed == Placed::written ? Result<bool>(true) : failed();
        }
    }
    return fail(u"%1 changes faster than it can be written."_s.arg(QFileInfo(file).fileName()));
}

QStringList removeUnfinishedUpdates(const QString& folder, const QDateTime& olderThan) {
    QStringList removed;
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QFileInfo& file : files) {
        const QString name = file.fileName();
        const bool isOurs = name.startsWith(u'.') && name.size() > underWay.size() + randomSize &&
                            QStringView(name).chopped(randomSize).endsWith(underWay);
        if (!isOurs || file.metadataChangeTime() >= olderThan) {
            continue;
        }
        const QString target = name.sliced(1, name.size() - 1 - underWay.size() - randomSize);
        if (isHeldBy(folder + u'/' + target, file.filePath()) ? QFile::remove(file.filePath())
                                                              : isInTrash(file.filePath())) {
            removed += name;
        }
    }
    return removed;
}

}  // namespace lumbro
