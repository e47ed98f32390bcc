#include "cli/CaptureLookup.h"

#include "LumbroCore/AtomicFile.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>

namespace lumbro::cli {

namespace {

std::optional<CaptureRecord> exactly(const QString& folder, const QString& id) {
    if (id.isEmpty() || id.contains(u'/') || id.startsWith(u'.')) {
        return std::nullopt;
    }
    const QString path = folder + u'/' + id;
    const auto bytes = readFile(path + u"/meta.json"_s, CaptureMeta::mostBytes);
    const auto meta = bytes ? CaptureMeta::fromBytes(*bytes) : std::nullopt;
    return meta ? std::optional(CaptureRecord{path, *meta}) : std::nullopt;
}

bool isUnreadable(const QString& folder, const QString& name) {
    if (name.isEmpty() || name.contains(u'/') || name.startsWith(u'.')) {
        return false;
    }
    const QFileInfo capture(folder + u'/' + name);
    const bool isClosed = capture.isDir() && !capture.isExecutable();
    return isClosed || (QFileInfo::exists(capture.filePath() + u"/meta.json"_s) && !exactly(folder, name));
}

std::unexpected<Failure> unreadable(const QString& folder, const QString& name) {
    return fail(u"%1/meta.json can't be read; mend it, or move the folder %2/%1 away."_s.arg(name, folder));
}

// Whether it could be made is known only by trying, without leaving anything.
bool couldBeMade(const QString& path) {
    QString parent = QFileInfo(path).absolutePath();
    while (!QFileInfo::exists(parent)) {
        parent = QFileInfo(parent).absolutePath();
    }
    return QTemporaryDir(parent + u"/.lumbro-XXXXXX"_s).isValid();
}

Result<CaptureRecord> newest(const QString& folder) {
    const CaptureScan scan = scanCaptures(folder);
    if (scan.records.isEmpty() && !scan.broken.isEmpty()) {
        return unreadable(folder, QFileInfo(scan.broken.first()).dir().dirName());
    }
    if (scan.records.isEmpty()) {
        return fail(FailureKind::notFound, u"There are no captures yet; `lumbro record` makes one."_s);
    }
    // The brief for a meeting to come would hide what has just been recorded.
    const auto found = std::ranges::find_if(
        scan.records, [](const CaptureRecord& record) { return record.meta.kind != CaptureKind::prep; });
    return found == scan.records.end() ? scan.records.first() : *found;
}

}  // namespace

Result<CaptureRecord> findCapture(const QString& folder, const QString& id) {
    if (const auto usable = checkLibrary(QFileInfo(folder).path(), LibraryUse::read); !usable) {
        return std::unexpected(usable.error());
    }
    if (id == u"last") {
        return newest(folder);
    }
    if (const auto record = exactly(folder, id)) {
        return *record;
    }
    QStringList names;
    QStringList broken;
    if (!id.isEmpty()) {
        for (const QString& name : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (name.startsWith(id)) {
                names += exactly(folder, name) ? QStringList(name) : QStringList();
                broken += isUnreadable(folder, name) ? QStringList(name) : QStringList();
            }
        }
    }
    if (broken.contains(id) || (names.isEmpty() && !broken.isEmpty())) {
        return unreadable(folder, broken.contains(id) ? id : broken.first());
    }
    if (names.isEmpty()) {
        return fail(FailureKind::notFound,
                    u"There is no capture \"%1\"; `lumbro captures` lists them all."_s.arg(id));
    }
    if (names.size() > 1) {
        return fail(
            FailureKind::notFound,
            u"%1 captures begin with \"%2\", such as %3 and %4; give more of the id."_s.arg(names.size())
                .arg(id, names.at(0), names.at(1)));
    }
    return *exactly(folder, names.first());
}

Result<> checkLibrary(const QString& root, LibraryUse use) {
    const QFileInfo info(root);
    const QFileInfo captures(root + u"/captures"_s);
    const bool writes = use == LibraryUse::write;
    bool usable = writes ? makePrivateFolder(root) && info.isWritable() : info.exists() || couldBeMade(root);
    for (const QFileInfo& folder : {info, captures}) {
        usable = usable && (!folder.exists() || (folder.isDir() && folder.isReadable()));
    }
    if (usable) {
        return {};
    }
    return fail(u"The library %1 can't be %2; set QUILLET_ROOT to a folder of yours."_s.arg(
        root, writes ? u"written"_s : u"read or made"_s));
}

QString capturesFolder() {
    return ContextLibrary::rootFromEnvironment() + u"/captures"_s;
}

}  // namespace lumbro::cli
