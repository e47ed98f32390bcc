#pragma once

#include "LumbroCore/Failure.h"
#include "library/BrokenFiles.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QMap>
#include <QString>

#include <optional>

/// The text files in a capture's folder. Readers give the empty value on any failure and report a file that
/// is there and broken.
namespace lumbro::captureFiles {

TranscriptSegments segments(const CaptureRecord& record, BrokenFiles& broken);
QString notes(const CaptureRecord& record, BrokenFiles& broken);
/// Engine id to text, from "handoffs/<engine id>.md".
QMap<QString, QString> handoffs(const CaptureRecord& record, BrokenFiles& broken);

/// Writes both transcript files; the second also when the first fails. Gives the first failure.
Result<> writeTranscript(const TranscriptSegments& segments, const CaptureRecord& record);
/// Fails with `notFound` when the capture's folder is gone.
Result<> writeHandoff(const QString& text, const QString& engineID, const CaptureRecord& record);
/// What `meta.json` holds now, which another process may have changed; nothing when it is missing or broken.
/// Any thread.
std::optional<CaptureMeta> meta(const CaptureRecord& record);
/// Where the title changes, the first line of `transcript.md` follows.
Result<> writeMeta(const CaptureRecord& record);
/// Puts the capture's title at the top of `transcript.md`, when that is there and begins with a title.
Result<> retitleTranscript(const CaptureRecord& record);

/// True for a meeting or thought with less than three words, no notes and no hand-offs. A file that is there
/// and cannot be read counts as content: nothing is thrown away for being unreadable.
bool isEmpty(const CaptureRecord& record);
/// Marks that words of the capture are being written down, until `endWords`. A failure costs the mark alone.
void beginWords(const CaptureRecord& record);
void endWords(const CaptureRecord& record);
/// The process that wrote the words down ended before they were complete.
bool mayLackWords(const CaptureRecord& record);
/// True when a track of the capture holds samples, packed or not.
bool hasSound(const CaptureRecord& record);

}  // namespace lumbro::captureFiles
