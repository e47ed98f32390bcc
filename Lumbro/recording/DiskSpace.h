#pragma once

#include <QStorageInfo>
#include <QString>

namespace lumbro::diskSpace {

/// Whether a failed write into the folder is explained by a full disk; false where the folder is gone.
inline bool isUsedUp(const QString& folder) {
    constexpr qint64 leastFreeBytes = 1 << 20;
    const qint64 free = QStorageInfo(folder).bytesAvailable();
    return free >= 0 && free < leastFreeBytes;
}

}  // namespace lumbro::diskSpace
