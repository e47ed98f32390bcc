#include "memory/KeptReply.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QFile>
#include <QJsonObject>

namespace lumbro {

namespace {

QString pathOf(const CaptureRecord& record) {
    return record.path(u"memory-reply.json"_s);
}

}  // namespace

std::optional<KeptReply> KeptReply::of(const CaptureRecord& record) {
    const auto bytes = readFile(pathOf(record));
    if (!bytes) {
        return std::nullopt;
    }
    const QJsonObject object = json::object(*bytes);
    KeptReply kept{object.value(u"reply"_s).toString(),
                   dates::fromIso(object.value(u"through"_s).toString())};
    // Without the time, what is new in a log would be asked for again and again.
    const bool isWhole = kept.through || record.meta.kind != CaptureKind::session;
    return isWhole && !kept.text.isEmpty() ? std::optional(std::move(kept)) : std::nullopt;
}

Result<> KeptReply::keep(const CaptureRecord& record) const {
    QJsonObject object{{u"reply"_s, text}};
    if (through) {
        object.insert(u"through"_s, dates::iso(*through));
    }
    Result<> written = writeFileAtomically(pathOf(record), json::encode(object));
    if (!written) {
        AppLog::error(u"memory"_s, record.id() + u": "_s + written.error().message);
    }
    return written;
}

void KeptReply::drop(const CaptureRecord& record) {
    QFile::remove(pathOf(record));
}

}  // namespace lumbro
