#include "library/CaptureRename.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"
#include "library/CaptureFiles.h"

#include <QFileInfo>

namespace lumbro {

Result<CaptureRecord> renameCapture(CaptureRecord record, const QString& title) {
    const QString name = title.simplified();
    if (name.isEmpty()) {
        return fail(u"A title needs at least one letter."_s);
    }
    // As it is now, and no other process changes it between the reading and the writing.
    const FolderLock lock(QFileInfo(record.folder).path());
    record.meta = captureFiles::meta(record).value_or(record.meta);
    record.meta.title = name;
    auto written = captureFiles::writeMeta(record);
    if (written) {
        // Also with the title that it has, so that a transcript out of step is mended.
        written = captureFiles::retitleTranscript(record);
    }
    if (!written) {
        return std::unexpected(written.error());
    }
    return record;
}

}  // namespace lumbro
