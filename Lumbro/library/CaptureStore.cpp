#include "library/CaptureStore.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"
#include "library/CaptureFiles.h"
#include "library/CaptureRepair.h"
#include "library/CaptureScan.h"
#include "library/SummaryCache.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/stat.h>

namespace lumbro {

namespace {

bool isRecorded(CaptureKind kind) {
    return kind == CaptureKind::meeting || kind == CaptureKind::thought;
}

/// `meta.json` holds whole seconds; with them a new record equals the one read back.
QDateTime wholeSeconds(const QDateTime& date) {
    return date.addMSecs(-date.time().msec());
}

}  // namespace

CaptureStore::CaptureStore(QString root, BrokenFiles& broken) : m_root(std::move(root)), m_broken(broken) {}

std::optional<CaptureRecord> CaptureStore::record(const QString& id) const {
    const auto it = std::ranges::find(m_captures, id, &CaptureRecord::id);
    return it == m_captures.end() ? std::nullopt : std::optional(*it);
}

CaptureRecord CaptureStore::create(CaptureKind kind, const QString& title, const QStringList& sources,
                                   const QDateTime& at) {
    CaptureRecord record;
    record.folder = makeFolder(dates::folderStamp(at) + u'-' + rawValue(kind));
    record.meta.title = title;
    record.meta.kind = kind;
    record.meta.startedAt = wholeSeconds(at);
    record.meta.sources = sources;
    if (isRecorded(kind)) {
        lock(record);
    }
    [[maybe_unused]] const Result<> logged = save(record);
    reload();
    return record;
}

QString CaptureStore::makeFolder(const QString& base) const {
    makePrivateFolder(folder());
    QString path = folder() + u'/' + base;
    // Making the folder is also the test whether the name is free: another process may want the same one.
    for (int number = 2; mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0; ++number) {
        if (errno != EEXIST) {
            AppLog::error(u"library"_s,
                          u"can't make the capture folder %1: %2"_s.arg(base, qt_error_string(errno)));
            break;
        }
        path = folder() + u"/%1-%2"_s.arg(base).arg(number);
    }
    return path;
}

void CaptureStore::lock(const CaptureRecord& record) {
    std::erase_if(m_locks, [this](const auto& entry) {
        const auto known = std::ranges::find(m_captures, entry.first, &CaptureRecord::folder);
        return known == m_captures.end() || known->meta.endedAt;
    });
    m_locks.try_emplace(record.folder, record.folder);
}

Result<> CaptureStore::save(const CaptureRecord& record) {
    Result<> written = captureFiles::writeMeta(record);
    if (!written) {
        AppLog::error(u"library"_s, record.id() + u": "_s + written.error().message);
    }
    const auto it = std::ranges::find(m_captures, record.folder, &CaptureRecord::folder);
    if (it != m_captures.end() && *it != record) {
        *it = record;
        if (onChanged) {
            onChanged();
        }
    }
    return written;
}

Result<> CaptureStore::remove(const CaptureRecord& record) {
    // With an end, a lock only says that the application which recorded it still runs.
    if (!record.meta.endedAt && !m_locks.contains(record.folder) && CaptureLock::isHeld(record.folder)) {
        const QString sentence = u"%1 is being recorded; stop the recording first."_s.arg(record.id());
        AppLog::error(u"library"_s, sentence);
        return fail(sentence);
    }
    const auto moved = moveOut(record);
    m_locks.erase(record.folder);
    if (!moved) {
        reload();
        AppLog::error(u"library"_s, moved.error().message);
        return std::unexpected(moved.error());
    }
    // A command that has read no list needs none for this.
    if (!m_captures.isEmpty()) {
        reload();
    }
    return {};
}

Result<QString> CaptureStore::moveOut(const CaptureRecord& record) const {
    auto moved = captureRepair::moveOut(record.folder, m_root);
    if (moved) {
        // Its title shall not stay behind where nobody looks for it.
        SummaryCache(folder()).forget(record.id());
    }
    return moved;
}

void CaptureStore::reload() {
    CaptureScan scan = scanCaptures(folder());
    for (const QString& path : std::as_const(scan.broken)) {
        m_broken.report(path, u"; the capture is not listed and stays as it is"_s);
    }
    if (mayRead) {
        scan.records.removeIf(
            [this](const CaptureRecord& record) { return !mayRead(record.path(u"meta.json"_s)); });
    }
    if (m_captures == scan.records) {
        return;
    }
    m_captures = std::move(scan.records);
    if (onChanged) {
        onChanged();
    }
}

void CaptureStore::recoverUnfinished() {
    bool isStale = false;
    const QList<CaptureRecord> all = m_captures;
    for (CaptureRecord record : all) {
        if (record.meta.endedAt || CaptureLock::isHeld(record.folder)) {
            continue;
        }
        const TranscriptSegments segments = captureFiles::segments(record, m_broken);
        const FolderLock changing(folder());
        record.meta = captureFiles::meta(record).value_or(record.meta);
        if (record.meta.endedAt) {
            // Another process has finished it since the list was read.
            isStale = true;
            continue;
        }
        record.meta.endedAt = captureRepair::recoveredEnd(record, segments);
        [[maybe_unused]] const Result<> logged = save(record);
        AppLog::info(u"library"_s,
                     u"recovered unfinished capture %1 segments=%2"_s.arg(record.id()).arg(segments.size()));
    }
    if (isStale) {
        reload();
    }
}

void CaptureStore::trashEmpty() {
    bool any = false;
    for (const CaptureRecord& record : std::as_const(m_captures)) {
        // A recording killed before its first words were written still has what was said.
        if (!record.meta.endedAt || !captureFiles::isEmpty(record) || captureFiles::hasSound(record) ||
            CaptureLock::isHeld(record.folder)) {
            continue;
        }
        any = true;
        if (const auto moved = moveOut(record); !moved) {
            AppLog::error(u"library"_s, moved.error().message);
            continue;
        }
        AppLog::info(u"library"_s, u"moved empty capture %1 to the Trash"_s.arg(record.id()));
    }
    if (any) {
        reload();
    }
}

}  // namespace lumbro
