#include "library/CaptureRepair.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cmath>

namespace lumbro::captureRepair {

namespace {

constexpr std::array ownFiles{u"meta.json", u"transcript.json", u"transcript.md",
                              u"notes.md",  u"session.md",      u"screen.md"};

/// Whether the name is that of an unfinished write of a file of ours.
bool isLeftover(QStringView name, bool inHandoffs) {
    const QStringView target = unfinishedTarget(name);
    return inHandoffs ? target.endsWith(u".md")
                      : std::ranges::any_of(ownFiles, [&](QStringView own) { return target == own; });
}

void removeLeftovers(const QDir& folder, bool inHandoffs, const QDateTime& olderThan) {
    const QFileInfoList files = folder.entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QFileInfo& file : files) {
        const QString shown = file.filePath().section(u'/', -2);
        if (file.fileName().endsWith(u".partial.m4a")) {
            AppLog::info(u"library"_s, u"half-packed audio %1; its recording is beside it"_s.arg(shown));
        } else if (isLeftover(file.fileName(), inHandoffs) && file.lastModified() < olderThan &&
                   QFile::remove(file.filePath())) {
            AppLog::info(u"library"_s, u"removed unfinished file "_s + shown);
        }
    }
}

}  // namespace

QDateTime recoveredEnd(const CaptureRecord& record, const TranscriptSegments& segments) {
    QDateTime end;
    if (!segments.isEmpty()) {
        // A broken file may hold any number; past this no date can be made.
        constexpr double limit = 1e9;
        const double last = std::ranges::max(segments, {}, &TranscriptSegment::start).start;
        end = record.meta.startedAt.addMSecs(std::llround((std::clamp(last, 0.0, limit) + 5.0) * 1000.0));
    }
    const QDateTime modified = QFileInfo(record.path(u"transcript.json"_s)).lastModified();
    if (modified.isValid() && (!end.isValid() || modified > end)) {
        end = modified;
    }
    return end.isValid() ? end : record.meta.startedAt.addSecs(60);
}

Result<QString> moveOut(const QString& folder, const QString& root) {
    if (auto moved = moveToTrash(folder)) {
        return moved;
    }
    // A failed move may still have carried it somewhere; then there is nothing left to take out.
    if (!QFileInfo::exists(folder)) {
        return folder;
    }
    const QString trash = root + u"/.trash"_s;
    makePrivateFolder(trash);
    const QString name = QFileInfo(folder).fileName();
    QString target = trash + u'/' + name;
    for (int number = 2; QFileInfo::exists(target); ++number) {
        target = trash + u"/%1-%2"_s.arg(name).arg(number);
    }
    if (!QFile::rename(folder, target)) {
        return fail(u"%1 could not be moved out of the library."_s.arg(name));
    }
    return target;
}

void removeStaleFiles(const QString& captureFolder, const QDateTime& olderThan) {
    removeLeftovers(QDir(captureFolder), false, olderThan);
    removeLeftovers(QDir(captureFolder + u"/handoffs"_s), true, olderThan);
}

}  // namespace lumbro::captureRepair
