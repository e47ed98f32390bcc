#pragma once

#include "library/formats/CaptureMeta.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace lumbro {

/// A capture with the facts that a list shows beside its meta.
struct CaptureSummary {
    CaptureRecord record;
    /// Words in the transcript; 0 when it is missing or broken.
    int words = 0;
    /// Ids of the engines whose results are there, sorted.
    QStringList handoffs;

    bool operator==(const CaptureSummary&) const = default;
};

/// The capture as one JSON object, as it stands in an array of them: the meta's fields, "id", "words" and
/// "handoffs", by sorted keys and indented by one level. Any thread.
QByteArray captureEntry(const CaptureSummary& summary);

}  // namespace lumbro
