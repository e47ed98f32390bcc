#pragma once

#include "LumbroCore/Failure.h"
#include "chats/formats/SessionEntry.h"
#include "library/formats/CaptureMeta.h"

#include <QDateTime>
#include <QString>

#include <optional>

/// The folder of a session capture. A capture is written with its meta last, so that a half-written one is
/// never listed. Only with the lock of the folder of captures, which whoever changes a meta has meanwhile.
namespace lumbro::sessionFolder {

/// The identity of the log that an entry belongs to, "<day>/<project>".
QString key(const SessionEntry& entry);

/// The entries in the capture's "session.json"; none when it is missing or broken.
SessionEntries entries(const CaptureRecord& record);

/// `old` with each entry of `read` in the place of the one with the same id, or at the end; sorted by time.
/// Entries asked before `start` replace, but are not added.
SessionEntries merged(const SessionEntries& old, const SessionEntries& read, const QDateTime& start);

/// Makes a capture of the entries, which are of one key and not empty, below `capturesFolder`.
Result<CaptureRecord> make(const QString& capturesFolder, const SessionEntries& entries);
/// Puts the entries in the place of the capture's earlier ones. Files that would not change stay untouched,
/// and so does all of the meta but its times. A "session.json" that can't be read is kept under another name.
Result<CaptureRecord> update(const CaptureRecord& record, const SessionEntries& entries);

}  // namespace lumbro::sessionFolder
