#pragma once

#include "library/formats/CaptureMeta.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace lumbro {

/// What lies in the folder of captures.
struct CaptureScan {
    /// Newest first; captures that started together stand in the order of their names.
    QList<CaptureRecord> records;
    /// Paths of the `meta.json` files that are there and cannot be read as one.
    QStringList broken;
};

/// A capture with the facts that a list shows beside its meta.
struct CaptureSummary {
    CaptureRecord record;
    /// Words in the transcript; 0 when it is missing or broken.
    int words = 0;
    /// Ids of the engines whose results are there, sorted.
    QStringList handoffs;
};

/// Reads every capture's `meta.json`, on two threads where that pays; returns when all is read. Folders
/// without one are passed over. Any thread.
CaptureScan scanCaptures(const QString& capturesFolder);

/// The same with transcripts and hand-offs looked at, in the order of `scanCaptures`. `broken` takes the
/// paths that a scan gives so.
QList<CaptureSummary> summarizeCaptures(const QString& capturesFolder, QStringList* broken = nullptr);

/// The summary of one capture.
CaptureSummary summarizeCapture(const CaptureRecord& record);

}  // namespace lumbro
