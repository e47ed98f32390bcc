#pragma once

#include "library/formats/CaptureMeta.h"

#include <QString>

#include <optional>

namespace lumbro {

/// An idea that is to be added to the list.
struct NewIdea {
    QString hook;
    QString angle;
    /// The capture it came from.
    std::optional<CaptureRecord> source;
};

}  // namespace lumbro
