#pragma once

#include <QString>

namespace lumbro {

/// A content idea from one of the day's captures.
struct DailyIdea {
    QString hook;
    QString angle;
    /// Folder name of the capture that it came from.
    QString capture;

    bool operator==(const DailyIdea&) const = default;
};

}  // namespace lumbro
