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

std::optional<KeptReply> KeptReply::decode(const QByteArray& bytes) {
    const QJsonObject object = json::object(bytes);
    KeptReply kept{object.value(u"reply"_s).toString(),
                   dates::fromIso(object.value(u"through"_s).toString())};
    return kept.text.isEmpty() ? std::nullopt : std::optional(std::move(kept));
}

QByteArray KeptReply::encode() const {
    QJsonObject object{{u"reply"_s, text}};
    if (through) {
        object.insert(u"through"_s, dates::iso(*through));
    }
    return json::encode(object);
}

std::optional<KeptReply> KeptReply::of(const CaptureRecord& record) {
    auto kept = decode(readFile(pathOf(record)).value_or(QByteArray()));
    // Without the time, what is new in a log would be asked for again and again.
    const bool isWhole = kept && (kept->through || record.meta.kind != CaptureKind::session);
    return isWhole ? std::move(kept) : std::nullopt;
}

Result<> KeptReply::keep(const CaptureRecord& record) const {
    Result<> written = writeFileAtomically(pathOf(record), encode());
    if (!written) {
        AppLog::error(u"memory"_s, record.id() + u": "_s + written.error().message);
    }
    return written;
}

void KeptReply::drop(const CaptureRecord& record) {
    QFile::remove(pathOf(record));
}

}  // namespace lumbro
