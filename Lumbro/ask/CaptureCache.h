#pragma once

#include "LumbroCore/FolderWatches.h"
#include "ask/CaptureReader.h"
#include "library/formats/CaptureMeta.h"

#include <QHash>
#include <QList>
#include <QString>

#include <chrono>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace lumbro {

/// The text of every capture that was searched, so that a capture that has not changed is not read again. It
/// never shrinks. One search at a time works with it; within a search, several threads may.
class CaptureCache {
  public:
    struct Entry {
        CaptureReading reading;
        QString title;
        CaptureKind kind = CaptureKind::meeting;
        bool isRead = false;
        /// When it was read, in ms since 1970.
        qint64 readAt = 0;
        /// Nothing has changed since the files were looked at, so far as the kernel tells.
        bool isCurrent = false;
        /// What the watches of the folder and of its "handoffs" are called, or -1.
        int watch = -1;
        int handoffsWatch = -1;
    };

    /// Begins a search at `now` (ms since 1970; `elapsed` never goes back). Gives the entries of the
    /// captures, in their order.
    const std::vector<Entry*>& begin(const QList<CaptureRecord>& captures, qint64 now,
                                     std::chrono::milliseconds elapsed);
    /// The capture's text as it is now. Any thread, each capture once in a search.
    const CaptureReading& reading(Entry& entry, const CaptureRecord& record, CaptureReader& reader);

  private:
    void takeChanges(std::chrono::milliseconds elapsed);
    void unwatch(Entry& entry, int number);
    void watch(Entry& entry, const CaptureRecord& record);
    int addWatch(const QByteArray& folder, Entry& entry);

    std::unordered_map<QString, std::unique_ptr<Entry>> m_entries;
    QList<CaptureRecord> m_captures;
    std::vector<Entry*> m_inOrder;
    FolderWatches m_watches;
    std::mutex m_mutex;
    QHash<int, Entry*> m_byWatch;
    bool m_canWatch = false;
    /// The identity of the folder of all captures.
    quint64 m_folder = 0;
    qint64 m_now = 0;
    std::chrono::milliseconds m_checkedAll{};
};

}  // namespace lumbro
