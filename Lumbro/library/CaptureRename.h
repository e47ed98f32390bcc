#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"

#include <QString>

namespace lumbro {

/// Gives a capture another title, in `meta.json` and at the top of `transcript.md`, and gives the capture as
/// it is then. Fails with a sentence when the title is blank or a file cannot be written.
Result<CaptureRecord> renameCapture(CaptureRecord record, const QString& title);

}  // namespace lumbro
