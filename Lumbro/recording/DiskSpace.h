#pragma once

#include <QStorageInfo>
#include <QString>

namespace lumbro::diskSpace {

/// Whether a failed write into the folder is explained by a full disk.
inline bool isUsedUp(const QString& folder) {
    constexpr qint64 leastFreeBytes = 1 << 20;
    return QStorageInfo(folder).bytesAvailable() < leastFreeBytes;
}

}  // namespace lumbro::diskSpace
