#include "platform/linux/desktop/VdirListing.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "platform/linux/desktop/IcalFile.h"
#include "platform/linux/desktop/IcalTrim.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr size_t mostFiles = 100'000;
constexpr qsizetype mostCollections = 200;
constexpr int levelsDown = 2;
constexpr qint64 mostTitleBytes = 1024;
constexpr qint64 nanoseconds = 1'000'000'000;
/// Fewer files are read before another thread has started.
constexpr size_t worthAThread = 100;
/// As much as this is read of large files at one look.
constexpr qint64 mostOfLarge = qint64(512) * 1024 * 1024;

QString titleOf(const QString& path) {
    const auto bytes = readFile(path + u"/displayname"_s, mostTitleBytes);
    const QString title = QString::fromUtf8(bytes.value_or(QByteArray())).simplified();
    return title.isEmpty() ? QFileInfo(path).fileName() : title;
}

bool isItem(const char* name) {
    const size_t length = qstrlen(name);
    return length > 4 && qstricmp(name + length - 4, ".ics") == 0;
}

bool isFolder(int folder, const dirent& entry) {
    struct stat info{};
    return entry.d_type == DT_DIR || (fstatat(folder, entry.d_name, &info, 0) == 0 && S_ISDIR(info.st_mode));
}

class Walk {
  public:
    explicit Walk(bool withFiles) : m_withFiles(withFiles) {}

    void into(const QByteArray& path, int levels) {
        std::vector<QByteArray> below;
        const bool isRoot = levels == levelsDown;
        const size_t before = listing.entries.size();
        const bool hasItems = read(path, below);
        if (hasItems || (below.empty() && !isRoot)) {
            add(path, before);
        }
        std::ranges::sort(below);
        for (const QByteArray& name : below) {
            if (levels > 0 && listing.collections.size() < mostCollections) {
                into(path + '/' + name, levels - 1);
            }
        }
    }

    VdirListing listing;

  private:
    void add(const QByteArray& path, size_t before) {
        const QString name = QFile::decodeName(path);
        for (size_t i = before; i < listing.entries.size(); ++i) {
            listing.entries[i].collection = listing.collections.size();
        }
        listing.collections.append({name, titleOf(name)});
    }

    /// Gives the folders in it. True when it is a collection: it has items, or a title.
    bool read(const QByteArray& path, std::vector<QByteArray>& below) {
        const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(path.constData()), closedir);
        if (!entries && errno == EACCES) {
            listing.unreadable.append(path);
        }
        bool isCollection = false;
        // One reader has the stream, so that readdir is as good as any other way.
        while (const dirent* entry =
                   entries ? readdir(entries.get()) : nullptr) {  // NOLINT(concurrency-mt-unsafe)
            const char* name = entry->d_name;
            if (name[0] == '.') {
                continue;
            }
            const bool mayBeFolder = entry->d_type != DT_REG && isFolder(dirfd(entries.get()), *entry);
            if (mayBeFolder) {
                below.emplace_back(name);
            } else if (isItem(name)) {
                isCollection = true;
                if (m_withFiles && listing.entries.size() < mostFiles) {
                    listing.entries.push_back({path + '/' + name, 0});
                }
            } else {
                isCollection = isCollection || qstrcmp(name, "displayname") == 0;
            }
        }
        return isCollection;
    }

    bool m_withFiles;
};

VdirListing listed(const QString& root, bool withFiles) {
    Walk walk(withFiles);
    if (!root.isEmpty()) {
        walk.into(QFile::encodeName(root), levelsDown);
    }
    return std::move(walk.listing);
}

}  // namespace

VdirListing VdirListing::of(const QString& root) {
    return listed(root, true);
}

QList<VdirCollection> VdirListing::collectionsOf(const QString& root) {
    return listed(root, false).collections;
}

namespace {

VdirStamp stampOf(const struct stat& info) {
    return {info.st_mtim.tv_sec * nanoseconds + info.st_mtim.tv_nsec, info.st_size, info.st_ino};
}

/// Reads on until the buffer is full or the file ends, and gives how much that was.
qsizetype fill(int file, char* buffer, qsizetype size) {
    qsizetype at = 0;
    ssize_t got = 1;
    while (got > 0 && at < size) {
        got = read(file, buffer + at, size_t(size - at));
        at += std::max<ssize_t>(got, 0);
    }
    return at;
}

/// Reads a large file without keeping what is of no use. False when there is too much of it.
bool readTrimmed(int file, std::atomic<qint64>& left, QByteArray& bytes) {
    QByteArray piece(qsizetype(256) * 1024, Qt::Uninitialized);
    IcalTrim trim;
    qint64 total = 0;
    for (qsizetype got = piece.size(); got == piece.size();) {
        got = fill(file, piece.data(), piece.size());
        total += got;
        if (total > IcalFile::mostBytes || left.fetch_sub(got) < got ||
            !trim.take(QByteArrayView(piece).first(got))) {
            return false;
        }
    }
    bytes = trim.kept();
    return true;
}

/// Opens, reads and closes a plain file, into `bytes`, which keeps its memory; of another one only the stamp
/// is told.
VdirText textOf(const QByteArray& path, QByteArray& bytes, std::atomic<qint64>& leftOfLarge) {
    // Not to wait for one that has become a pipe.
    const int file = open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat info{};
    VdirText text;
    bytes.resize(0);
    if ((file >= 0 ? fstat(file, &info) : stat(path.constData(), &info)) == 0 && S_ISREG(info.st_mode)) {
        text.state = VdirText::State::read;
        text.stamp = stampOf(info);
        text.fault = file < 0 ? VdirText::Fault::unreadable : VdirText::Fault::none;
    }
    if (file >= 0 && text.state == VdirText::State::read) {
        if (info.st_size <= IcalTrim::worthwhile) {
            bytes.resize(info.st_size);
            bytes.resize(fill(file, bytes.data(), bytes.size()));
        } else if (info.st_size > IcalFile::mostBytes || !readTrimmed(file, leftOfLarge, bytes)) {
            text.fault = VdirText::Fault::tooLarge;
        }
    }
    if (file >= 0) {
        close(file);
    }
    return text;
}

bool isUnchanged(const QByteArray& path, const std::optional<VdirStamp>& known) {
    struct stat info{};
    return known && stat(path.constData(), &info) == 0 && S_ISREG(info.st_mode) && stampOf(info) == *known;
}

}  // namespace

QByteArray VdirListing::read(const QByteArray& path) {
    QByteArray bytes;
    std::atomic<qint64> left = IcalFile::mostBytes;
    textOf(path, bytes, left);
    return bytes;
}

std::vector<VdirText> VdirListing::readChanged(const Known& known, const IsWanted& isWanted) const {
    std::vector<VdirText> texts(entries.size());
    std::atomic<qint64> leftOfLarge = mostOfLarge;
    const auto part = [&](size_t first, size_t step) {
        QByteArray bytes;
        for (size_t i = first; i < entries.size(); i += step) {
            if (isUnchanged(entries[i].path, known(entries[i]))) {
                texts[i].state = VdirText::State::unchanged;
                continue;
            }
            texts[i] = textOf(entries[i].path, bytes, leftOfLarge);
            texts[i].outline = IcalOutline::of(bytes);
            if (isWanted(texts[i].outline)) {
                texts[i].bytes = QByteArray(bytes.constData(), bytes.size());
            }
        }
    };
    const size_t count = std::clamp<size_t>(entries.size() / worthAThread, 1,
                                            std::clamp(std::thread::hardware_concurrency(), 1U, 4U));
    std::vector<std::jthread> others;
    for (size_t i = 1; i < count; ++i) {
        others.emplace_back(part, i, count);
    }
    part(0, count);
    others.clear();
    return texts;
}

}  // namespace lumbro
