#include "memory/PageFolder.h"

#include "LumbroCore/Literals.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr qint64 mostBytes = qint64(16) * 1024 * 1024;

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};
using Dir = std::unique_ptr<DIR, CloseDir>;

Dir openFolder(const QString& path, const ReadGuard& mayRead) {
    return mayRead && !mayRead(path) ? Dir() : Dir(opendir(QFile::encodeName(path).constData()));
}

/// Also true for a link that leads nowhere.
bool isThere(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

/// The bytes of a plain file. File objects of Qt cost more than the reading of a page.
std::optional<QByteArray> readPlain(int folder, const QByteArray& name) {
    // Without O_NONBLOCK a fifo would hold us for ever.
    const int file = openat(folder, name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        return std::nullopt;
    }
    struct stat info{};
    std::optional<QByteArray> bytes;
    if (fstat(file, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= mostBytes) {
        bytes = QByteArray(info.st_size, Qt::Uninitialized);
        const ssize_t got = ::read(file, bytes->data(), static_cast<size_t>(bytes->size()));
        got < 0 ? bytes.reset() : bytes->truncate(got);
    }
    close(file);
    return bytes;
}

}  // namespace

bool hasSettled(const FileStamp& stamp) {
    using std::chrono::nanoseconds;
    constexpr nanoseconds second = std::chrono::seconds(1);
    const qint64 last = std::max(stamp.modified, stamp.changed);
    // Some file systems count whole seconds only, or every other one; the others count ticks of the kernel.
    const nanoseconds settling = last % second.count() == 0 ? 2 * second : second / 20;
    return nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count() - last > settling.count();
}

PageFolder::PageFolder(MemoryEntity::Kind kind, QString path, ReadGuard mayRead)
    : m_kind(kind), m_path(std::move(path)), m_mayRead(std::move(mayRead)) {}

std::vector<PageFolder::Entry> PageFolder::list() const {
    constexpr QByteArrayView ending = ".md";
    std::vector<Entry> entries;
    entries.reserve(m_files.size() + 1);
    const Dir folder = openFolder(m_path, m_mayRead);
    // The stream is this function's alone.
    while (const dirent* item = folder ? readdir(folder.get()) : nullptr) {  // NOLINT(concurrency-mt-unsafe)
        const QByteArrayView name(item->d_name);
        if (name.endsWith(ending) && name.size() > ending.size()) {
            entries.push_back({name.toByteArray(), {}});
            entries.back().stamp = FileStamp::of(dirfd(folder.get()), entries.back().name);
        }
    }
    return entries;
}

bool PageFolder::hasChanged() const {
    return m_isUnsettled || list() != m_files;
}

PageFolder::Page PageFolder::readPage(int folder, const Entry& entry) const {
    Page page{.stamp = entry.stamp, .entity = {}, .isSettled = hasSettled(entry.stamp)};
    const QString name = QFile::decodeName(entry.name);
    const QString path = m_path + u'/' + name;
    const auto bytes = m_mayRead && !m_mayRead(path) ? std::nullopt : readPlain(folder, entry.name);
    if (bytes && !QUtf8StringView(*bytes).isValidUtf8()) {
        page.fault = MemoryFault::Kind::notText;
    } else if (bytes) {
        page.entity = MemoryEntity::parse(m_kind, name.chopped(3), path, QString::fromUtf8(*bytes));
    }
    return page;
}

bool PageFolder::read() {
    // Stamps are taken first: a change while we read then gives a stamp that nothing will have again.
    m_files = list();
    m_unreadable.clear();
    m_faults.clear();
    m_isUnsettled = false;
    const Dir folder = openFolder(m_path, m_mayRead);
    if (!folder && isThere(m_path)) {
        m_faults.append({m_path, MemoryFault::Kind::unreadable});
    }
    bool isOther = false;
    for (const Entry& entry : m_files) {
        Page& page = m_pages[entry.name];
        const bool isFresh = !page.isSettled || page.stamp != entry.stamp;
        if (isFresh) {
            const auto before =
                std::exchange(page, readPage(folder ? dirfd(folder.get()) : -1, entry)).entity;
            isOther = isOther || page.entity != before;
        }
        note(entry, page, isFresh);
    }
    isOther = forgetOthers() || isOther;
    if (isOther) {
        m_entities.clear();
        for (const Page& page : std::as_const(m_pages)) {
            if (page.entity) {
                m_entities.append(*page.entity);
            }
        }
        std::ranges::sort(m_entities, &MemoryEntity::standsBefore);
    }
    return isOther;
}

/// Lets go of the pages whose files are gone. True when one of them was an entity.
bool PageFolder::forgetOthers() {
    if (m_pages.size() == qsizetype(m_files.size())) {
        return false;
    }
    QSet<QByteArray> names;
    for (const Entry& entry : m_files) {
        names.insert(entry.name);
    }
    bool wasEntity = false;
    m_pages.removeIf([&](const std::pair<const QByteArray&, Page&>& page) {
        const bool isGone = !names.contains(page.first);
        wasEntity = wasEntity || (isGone && page.second.entity);
        return isGone;
    });
    return wasEntity;
}

void PageFolder::note(const Entry& entry, const Page& page, bool isFresh) {
    m_isUnsettled = m_isUnsettled || !page.isSettled;
    if (!page.entity) {
        const QString name = QFile::decodeName(entry.name);
        m_faults.append({m_path + u'/' + name, page.fault});
        m_unreadable += isFresh && page.isSettled ? QStringList(name) : QStringList();
    }
}

}  // namespace lumbro
