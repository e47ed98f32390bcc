#pragma once

#include "LumbroCore/Literals.h"

#include <QDir>
#include <QString>

namespace lumbro {

/// Where temporary files go: the folder that TMPDIR names, or /tmp when there is no such folder, for which
/// Qt gives an empty path, and so the root of the disk. Any thread.
inline QString tempFolder() {
    const QString folder = QDir::tempPath();
    return folder.isEmpty() ? u"/tmp"_s : folder;
}

}  // namespace lumbro
