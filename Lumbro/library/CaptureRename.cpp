#include "library/CaptureRename.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"

namespace lumbro {

namespace {

// Only the first line: the transcript itself may be broken, and what is readable of it shall stay.
Result<> retitle(const QString& path, const QString& before, const QString& title) {
    const auto text = readTextFile(path);
    const QString head = u"# "_s + before + u'\n';
    if (!text || !text->startsWith(head)) {
        return {};
    }
    return writeFileAtomically(path, (u"# "_s + title + u'\n' + text->sliced(head.size())).toUtf8());
}

}  // namespace

Result<CaptureRecord> renameCapture(CaptureRecord record, const QString& title) {
    const QString name = title.simplified();
    if (name.isEmpty()) {
        return fail(u"A title needs at least one letter."_s);
    }
    const QString before = std::exchange(record.meta.title, name);
    auto written = writeFileAtomically(record.path(u"meta.json"_s), json::encode(record.meta.toJson()));
    if (written) {
        written = retitle(record.path(u"transcript.md"_s), before, name);
    }
    if (!written) {
        return std::unexpected(written.error());
    }
    return record;
}

}  // namespace lumbro
