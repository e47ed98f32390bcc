#pragma once

#include "cli/CaptureJson.h"
#include "cli/Output.h"

#include <QList>
#include <QString>

namespace lumbro::cli {

/// Captures, their details and their parts for people, each ending with a newline.
QString captureTable(const Output& output, const QList<CaptureSummary>& summaries);
QString captureText(const Output& output, const CaptureDetails& details);
QString transcriptText(const Output& output, const TranscriptSegments& paragraphs);

/// "42 min", or what stands in for it while there is no end.
QString lengthText(const CaptureMeta& meta);

}  // namespace lumbro::cli
