#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"

#include <QString>

namespace lumbro::cli {

/// The capture that the user means: by its id, by the beginning of one id alone, or "last". Fails with a
/// sentence that says what to do.
Result<CaptureRecord> findCapture(const QString& capturesFolder, const QString& id);

/// What a command does with the library.
enum class LibraryUse { read, write };

/// Fails with a sentence when the library at `root` cannot be used so. One that is missing may be read when
/// it could be made, and is made when it is to be written.
Result<> checkLibrary(const QString& root, LibraryUse use);

/// The folder of captures of this run's library.
QString capturesFolder();

}  // namespace lumbro::cli
