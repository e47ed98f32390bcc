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

/// "42 min"; for a recording without an end "recording" while it runs, "cut off" when its process is gone.
QString lengthText(const CaptureRecord& record);

/// That words of the capture may never have been written down, and what to do.
QString mayLackWordsText(const CaptureDetails& details);

}  // namespace lumbro::cli
