#include "ask/CaptureCache.h"

#include <QFile>
#include <QFileInfo>

#include <utility>

#include <sys/stat.h>

namespace lumbro {

namespace {

using namespace std::chrono_literals;

/// Writes through a mapping are not told, and whoever restores a backup may put whole folders in place. So
/// all files are looked at every now and then.
constexpr auto trusted = 30s;
/// Within this time after a change a file may change once more without its stamp telling.
constexpr qint64 doubtful = 2000;

constexpr QByteArrayView handoffsName = "handoffs";

quint64 identity(const QByteArray& folder) {
    struct stat status{};
    return stat(folder.constData(), &status) == 0 ? status.st_ino : 0;
}

/// Files that search looks into, and what stands for the folder itself.
bool matters(QByteArrayView name) {
    return name.isEmpty() || name == handoffsName || name.endsWith(".md") || name == "transcript.json" ||
           name == "session.json";
}

}  // namespace

const std::vector<CaptureCache::Entry*>& CaptureCache::begin(const QList<CaptureRecord>& captures, qint64 now,
                                                             std::chrono::milliseconds elapsed) {
    m_now = now;
    if (!captures.isSharedWith(m_captures)) {
        m_captures = captures;
        m_inOrder.clear();
        m_inOrder.reserve(size_t(captures.size()));
        for (const CaptureRecord& record : captures) {
            auto& entry = m_entries[record.folder];
            if (!entry) {
                entry = std::make_unique<Entry>();
            }
            m_inOrder.push_back(entry.get());
        }
    }
    takeChanges(elapsed);
    return m_inOrder;
}

/// Marks the captures whose files must be looked at again.
void CaptureCache::takeChanges(std::chrono::milliseconds elapsed) {
    if (m_captures.isEmpty()) {
        return;
    }
    // Not `first`, which would make a copy of the whole list, so that it never were the same again.
    const QByteArray folder = QFile::encodeName(QFileInfo(m_captures.constFirst().folder).path());
    const quint64 before = std::exchange(m_folder, identity(folder));
    m_canWatch = m_watches.areTold(folder);
    const bool isWhole = m_watches.take([this](int number, QByteArrayView name) {
        Entry* entry = m_byWatch.value(number);
        if (entry == nullptr) {
            return;
        }
        if (name.isEmpty()) {
            unwatch(*entry, number);
        }
        if (name == handoffsName && number == entry->watch && entry->handoffsWatch >= 0) {
            // Where a link led there, nothing tells that it leads elsewhere now.
            unwatch(*entry, entry->handoffsWatch);
        }
        entry->isCurrent = entry->isCurrent && !matters(name);
    });
    if (!isWhole || m_folder != before || elapsed - m_checkedAll >= trusted) {
        m_checkedAll = elapsed;
        for (const auto& [name, entry] : m_entries) {
            entry->isCurrent = false;
        }
    }
}

/// The folder itself has changed, perhaps its place: it is to be watched anew.
void CaptureCache::unwatch(Entry& entry, int number) {
    m_watches.remove(number);
    m_byWatch.remove(number);
    (entry.watch == number ? entry.watch : entry.handoffsWatch) = -1;
}

const CaptureReading& CaptureCache::reading(Entry& entry, const CaptureRecord& record,
                                            CaptureReader& reader) {
    const bool isSameRecord =
        entry.isRead && entry.title == record.meta.title && entry.kind == record.meta.kind;
    if (isSameRecord && entry.isCurrent) {
        return entry.reading;
    }
    if (entry.isRead && m_canWatch) {
        // Before the look at the files, so that no change falls between. Not when it is read first: a process
        // that searches once needs no watches.
        watch(entry, record);
    }
    const bool isSettled = entry.reading.stamp.newest + doubtful < entry.readAt;
    if (!isSameRecord || !isSettled ||
        !CaptureReader::stamp(record, entry.reading.handoffs).isSame(entry.reading.stamp)) {
        entry.reading = reader.read(record);
        entry.title = record.meta.title;
        entry.kind = record.meta.kind;
        entry.isRead = true;
        entry.readAt = m_now;
    }
    entry.isCurrent = entry.watch >= 0 && !entry.reading.stamp.isShared &&
                      (!entry.reading.hasHandoffs || entry.handoffsWatch >= 0);
    return entry.reading;
}

void CaptureCache::watch(Entry& entry, const CaptureRecord& record) {
    const QByteArray folder = QFile::encodeName(record.folder);
    if (entry.watch < 0) {
        entry.watch = addWatch(folder, entry);
    }
    if (entry.handoffsWatch < 0) {
        entry.handoffsWatch = addWatch(folder + "/handoffs", entry);
    }
}

int CaptureCache::addWatch(const QByteArray& folder, Entry& entry) {
    const int number = m_watches.add(folder);
    if (number < 0) {
        return -1;
    }
    const std::scoped_lock lock(m_mutex);
    // Through links, two captures may share a folder; then only one of them is told of its changes.
    Entry*& owner = m_byWatch[number];
    if (owner != nullptr) {
        return -1;
    }
    owner = &entry;
    return number;
}

}  // namespace lumbro
