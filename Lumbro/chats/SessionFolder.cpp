#include "chats/SessionFolder.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "chats/formats/SessionLog.h"
#include "library/BrokenFiles.h"
#include "library/CaptureFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace lumbro::sessionFolder {

namespace {

Result<QString> makeFolder(const QString& capturesFolder, const QDateTime& time) {
    const QString base = capturesFolder + u'/' + dates::folderStamp(time) + u"-session"_s;
    QString path = base;
    for (int number = 2; mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0; ++number) {
        if (errno != EEXIST) {
            return fail(u"%1 can't be made: %2."_s.arg(path, qt_error_string(errno)));
        }
        path = base + u'-' + QString::number(number);
    }
    return path;
}

void setTimes(CaptureMeta& meta, const SessionEntries& entries) {
    constexpr int lastTurn = 60;
    meta.startedAt = entries.first().time;
    meta.endedAt = entries.last().time.addSecs(lastTurn);
}

Result<> writeLog(const CaptureRecord& record, const SessionEntries& entries) {
    const auto written =
        writeFileAtomically(record.path(SessionLog::jsonName()), SessionLog::encode(entries));
    if (!written) {
        return written;
    }
    return writeFileAtomically(record.path(SessionLog::markdownName()),
                               SessionLog::markdown(entries, record.meta.title).toUtf8());
}

std::optional<SessionEntries> readEntries(const CaptureRecord& record) {
    const auto bytes = readFile(record.path(SessionLog::jsonName()));
    return bytes ? SessionLog::decode(*bytes) : std::nullopt;
}

/// The meta as it is on the disk now: the librarian may have moved its cursor since the list was read.
CaptureMeta currentMeta(const CaptureRecord& record) {
    const auto bytes = readFile(record.path(u"meta.json"_s));
    return (bytes ? CaptureMeta::fromBytes(*bytes) : std::nullopt).value_or(record.meta);
}

}  // namespace

QString key(const SessionEntry& entry) {
    return dates::day(entry.time) + u'/' + entry.project;
}

SessionEntries entries(const CaptureRecord& record) {
    return readEntries(record).value_or(SessionEntries());
}

SessionEntries merged(const SessionEntries& old, const SessionEntries& read, const QDateTime& start) {
    SessionEntries result = old;
    QHash<QString, qsizetype> places;
    for (qsizetype i = 0; i < result.size(); ++i) {
        places.insert(result[i].id, i);
    }
    for (const SessionEntry& entry : read) {
        const auto known = places.constFind(entry.id);
        if (known != places.cend()) {
            result[*known] = entry;
        } else if (entry.time >= start) {
            places.insert(entry.id, result.size());
            result.append(entry);
        }
    }
    std::ranges::stable_sort(result, {}, &SessionEntry::time);
    return result;
}

Result<CaptureRecord> make(const QString& capturesFolder, const SessionEntries& entries) {
    const SessionEntry& first = entries.first();
    const auto folder = makeFolder(capturesFolder, first.time);
    if (!folder) {
        return std::unexpected(folder.error());
    }
    CaptureRecord record;
    record.folder = *folder;
    record.meta.title = u"Claude Code · "_s + first.project;
    record.meta.kind = CaptureKind::session;
    record.meta.sessionKey = key(first);
    setTimes(record.meta, entries);
    auto written = writeLog(record, entries);
    if (written) {
        written = captureFiles::writeMeta(record);
    }
    if (!written) {
        QDir(record.folder).removeRecursively();
        return std::unexpected(written.error());
    }
    return record;
}

Result<CaptureRecord> update(const CaptureRecord& record, const SessionEntries& entries) {
    CaptureRecord result = record;
    const auto old = readEntries(record);
    const QString json = record.path(SessionLog::jsonName());
    if (!old && QFileInfo::exists(json) && !BrokenFiles::keepCopy(json)) {
        return fail(u"%1 can't be read, and not be kept under another name."_s.arg(json));
    }
    Result<> written;
    if (old != entries || !QFileInfo::exists(record.path(SessionLog::markdownName()))) {
        written = writeLog(record, entries);
    }
    result.meta = currentMeta(record);
    CaptureMeta meta = result.meta;
    setTimes(meta, entries);
    if (written && meta != result.meta) {
        result.meta = meta;
        written = captureFiles::writeMeta(result);
    }
    if (!written) {
        return std::unexpected(written.error());
    }
    return result;
}

}  // namespace lumbro::sessionFolder
