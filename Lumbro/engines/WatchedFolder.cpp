#include "engines/WatchedFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// A file that was written to within this time is still being written.
constexpr qint64 settlingSeconds = 5;
constexpr size_t pieceBytes = size_t(1) << 20;

std::unexpected<Failure> systemFailure() {
    return fail(qt_error_string(errno));
}

QDateTime dateOf(const timespec& time) {
    return QDateTime::fromMSecsSinceEpoch(qint64(time.tv_sec) * 1000 + time.tv_nsec / 1'000'000);
}

QString oneLine(const QByteArray& rawName) {
    QString name = QString::fromUtf8(rawName);
    for (QChar& c : name) {
        const bool breaks = c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
                            c == QChar::ParagraphSeparator;
        c = breaks ? u'_' : c;
    }
    return name;
}

/// A descriptor that is closed at the end.
class Descriptor {
  public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    int get() const { return m_number; }
    bool isOpen() const { return m_number >= 0; }

  private:
    int m_number;
};

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

/// Whether the path still leads to what the descriptor has open.
bool leadsTo(const QByteArray& path, const struct stat& opened) {
    struct stat now = {};
    return ::lstat(path.constData(), &now) == 0 && isSame(now, opened);
}

bool copyBytes(int from, int to) {
    std::vector<char> piece(pieceBytes);
    while (true) {
        const ssize_t count = ::read(from, piece.data(), piece.size());
        if (count == 0) {
            return ::fsync(to) == 0;
        }
        if (count < 0 && errno != EINTR) {
            return false;
        }
        for (ssize_t done = 0; done < count;) {
            const ssize_t written = ::write(to, piece.data() + done, size_t(count - done));
            if (written < 0 && errno != EINTR) {
                return false;
            }
            done += std::max<ssize_t>(written, 0);
        }
    }
}

/// The library's own folders hold what must stay there, and each result would start the next run.
bool isInside(const QString& folder, const QString& libraryRoot) {
    static const QStringList own{u"captures"_s, u"engines"_s, u"voices"_s, u"memory"_s,
                                 u"asks"_s,     u"actions"_s, u"inbox"_s,  u".trash"_s};
    const QString path = QFileInfo(folder).canonicalFilePath() + u'/';
    const QString root = QFileInfo(libraryRoot).canonicalFilePath() + u'/';
    return std::ranges::any_of(own, [&](const QString& name) { return path.startsWith(root + name + u'/'); });
}

}  // namespace

QString WatchedFolder::problem(const QString& libraryRoot) const {
    const QFileInfo info(m_path);
    if (!info.isDir()) {
        return u"there is no folder %1; make it"_s.arg(m_path);
    }
    if (isInside(m_path, libraryRoot)) {
        return u"%1 belongs to the library itself; let the engine watch another folder"_s.arg(m_path);
    }
    const bool isReadable = info.isReadable() && info.isExecutable();
    return isReadable ? QString() : u"%1 can't be read; see whom it belongs to"_s.arg(m_path);
}

Result<QList<WaitingFile>> WatchedFolder::files(const QDateTime& now) const {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(QFile::encodeName(m_path).constData()),
                                                     &::closedir);
    if (!folder) {
        return systemFailure();
    }
    QList<WaitingFile> found;
    // Each stream is read by one thread only.
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    while (const dirent* entry = ::readdir(folder.get())) {
        const QByteArray name(entry->d_name);
        struct stat status = {};
        if (name.startsWith('.') || name.endsWith(".icloud") ||
            ::fstatat(::dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(status.st_mode)) {
            continue;
        }
        const QDateTime modified = dateOf(status.st_mtim);
        // A date from the future says nothing; the system's own note of the last change does.
        const QDateTime changed = modified > now ? dateOf(status.st_ctim) : modified;
        found.append({name, oneLine(name), modified, changed <= now.addSecs(-settlingSeconds)});
    }
    std::ranges::sort(found, {},
                      [](const WaitingFile& file) { return std::tie(file.modified, file.rawName); });
    return found;
}

QByteArray WatchedFolder::rawPath(const QByteArray& rawName) const {
    return QFile::encodeName(m_path) + '/' + rawName;
}

bool WatchedFolder::has(const QByteArray& rawName) const {
    struct stat status = {};
    return ::lstat(rawPath(rawName).constData(), &status) == 0;
}

Result<bool> WatchedFolder::take(const QByteArray& rawName, const QString& destination) const {
    const QByteArray source = rawPath(rawName);
    if (::rename(source.constData(), QFile::encodeName(destination).constData()) == 0) {
        return true;
    }
    if (errno == EXDEV) {
        return copyAndRemove(source, destination);
    }
    const auto failure = systemFailure();
    return has(rawName) ? Result<bool>(failure) : Result<bool>(false);
}

Result<bool> WatchedFolder::copyAndRemove(const QByteArray& source, const QString& destination) const {
    const Descriptor from(::open(source.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!from.isOpen()) {
        return errno == ENOENT || errno == ELOOP ? Result<bool>(false) : systemFailure();
    }
    // Of two processes that copy one file, the lock lets one go on; it ends with its process.
    if (::flock(from.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        return false;
    }
    struct stat status = {};
    if (::fstat(from.get(), &status) != 0 || !S_ISREG(status.st_mode) || !leadsTo(source, status)) {
        return false;
    }
    if (::access(QFile::encodeName(m_path).constData(), W_OK) != 0) {
        return systemFailure();
    }
    const QByteArray part = QFile::encodeName(QFileInfo(destination).path() + u"/.part"_s);
    const Descriptor to(::open(part.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    const bool copied = to.isOpen() && copyBytes(from.get(), to.get());
    const bool isWhole = copied && leadsTo(source, status);
    // Only what has its name in the run's folder is taken away from the watched one.
    if (!isWhole || ::rename(part.constData(), QFile::encodeName(destination).constData()) != 0) {
        const auto failure = systemFailure();
        ::unlink(part.constData());
        return copied && !isWhole ? Result<bool>(false) : failure;
    }
    if (::unlink(source.constData()) != 0) {
        const auto failure = systemFailure();
        ::unlink(QFile::encodeName(destination).constData());
        return failure;
    }
    return true;
}

}  // namespace lumbro
