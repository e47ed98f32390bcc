#pragma once

#include "chats/formats/SessionEntry.h"
#include "library/CaptureList.h"
#include "library/formats/TranscriptSegment.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>

namespace lumbro::cli {

/// Everything that `show` tells of a capture.
struct CaptureDetails {
    CaptureSummary summary;
    TranscriptSegments paragraphs;
    /// The transcript is there and cannot be read.
    bool isTranscriptBroken = false;
    /// Lumbro ended before its words were complete.
    bool mayLackWords = false;
    QString notes;
    /// Engine id to text.
    QMap<QString, QString> handoffs;
    /// Track to path.
    QMap<QString, QString> audio;
    /// The requests of a log of chats.
    SessionEntries entries;
};

/// Reads a capture's files, as they are now.
CaptureDetails captureDetails(const CaptureRecord& record);

/// One entry of `captures`.
QJsonObject captureJson(const CaptureSummary& summary);
/// The first `count` entries of `captures`, as the one document that the array of them would be.
QByteArray captureListJson(const CaptureList& list, qsizetype count);
/// The object of `show`.
QJsonObject captureJson(const CaptureDetails& details);

}  // namespace lumbro::cli
