#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"

#include <QString>

namespace lumbro::cli {

/// The capture that the user means: by its id, by the beginning of one id alone, or "last". Fails with a
/// sentence that says what to do.
Result<CaptureRecord> findCapture(const QString& capturesFolder, const QString& id);

/// The folder of captures of this run's library.
QString capturesFolder();

}  // namespace lumbro::cli
