#include "cli/CaptureLookup.h"

#include "LumbroCore/AtomicFile.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"

#include <QDir>

namespace lumbro::cli {

namespace {

std::optional<CaptureRecord> exactly(const QString& folder, const QString& id) {
    if (id.isEmpty() || id.contains(u'/') || id.startsWith(u'.')) {
        return std::nullopt;
    }
    const QString path = folder + u'/' + id;
    const auto bytes = readFile(path + u"/meta.json"_s);
    const auto meta = bytes ? CaptureMeta::fromBytes(*bytes) : std::nullopt;
    return meta ? std::optional(CaptureRecord{path, *meta}) : std::nullopt;
}

Result<CaptureRecord> newest(const QString& folder) {
    const CaptureScan scan = scanCaptures(folder);
    if (scan.records.isEmpty()) {
        return fail(FailureKind::notFound, u"There are no captures yet; `lumbro record` makes one."_s);
    }
    return scan.records.first();
}

}  // namespace

Result<CaptureRecord> findCapture(const QString& folder, const QString& id) {
    if (id == u"last") {
        return newest(folder);
    }
    if (const auto record = exactly(folder, id)) {
        return *record;
    }
    QStringList names;
    if (!id.isEmpty()) {
        for (const QString& name : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (name.startsWith(id) && exactly(folder, name)) {
                names += name;
            }
        }
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

QString capturesFolder() {
    return ContextLibrary::rootFromEnvironment() + u"/captures"_s;
}

}  // namespace lumbro::cli
