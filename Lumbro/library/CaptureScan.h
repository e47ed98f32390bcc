#pragma once

#include "library/CaptureEntry.h"
#include "library/formats/CaptureMeta.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace lumbro {

/// What lies in the folder of captures.
struct CaptureScan {
    /// Newest first; of captures that started together the last name first.
    QList<CaptureRecord> records;
    /// Paths of the `meta.json` files that are there and cannot be read as one.
    QStringList broken;
};

/// Reads every capture's `meta.json`, on two threads where that pays; returns when all is read. Folders
/// without one are passed over. Any thread.
CaptureScan scanCaptures(const QString& capturesFolder);

/// What lies beside the capture's meta, read now.
CaptureSummary summarizeCapture(const CaptureRecord& record);

}  // namespace lumbro
