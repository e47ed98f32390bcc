#pragma once

#include "LumbroCore/Task.h"

#include <QString>

/// The audio files of a capture: `<track>.caf` (16-bit PCM) while it runs, `<track>.m4a` (AAC) afterwards,
/// both mono at 16 kHz. The tracks are "me" and "them".
namespace lumbro::audioArchive {

/// Turns a `.caf` into the `.m4a` beside it and deletes the `.caf`; an empty one is only deleted. On a
/// failure the `.caf` stays and a log line says why. True when the `.caf` is gone. Blocks; any thread.
bool pack(const QString& caf);

/// Packs every `.caf` directly in the folder, one after the other. Blocks; any thread.
void packAll(const QString& folder);

/// The same on a background thread. Main thread.
Task<> packAllInBackground(QString folder);

/// The path of the track's `.m4a`, else of its `.caf`, else empty.
QString playableURL(const QString& folder, const QString& track);

}  // namespace lumbro::audioArchive
