#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QDateTime>
#include <QString>

/// What start-up mends in captures that a crash left behind.
namespace lumbro::captureRepair {

/// The end of a capture that was never finished: 5 s after its last segment began or the last change of its
/// transcript, whichever is later; one minute after its start when there is neither.
QDateTime recoveredEnd(const CaptureRecord& record, const TranscriptSegments& segments);

/// Takes the capture's folder out of `captures/` without destroying it: to the Trash or, where that fails, to
/// ".trash" under the root. Gives its new path.
Result<QString> moveOut(const QString& folder, const QString& root);

/// Removes what a killed write left in the capture's folder: copies of our own files with six random letters
/// at the end, last changed before `olderThan`. Logs what it removed, and half-packed audio, which it leaves.
void removeStaleFiles(const QString& captureFolder, const QDateTime& olderThan);

}  // namespace lumbro::captureRepair
