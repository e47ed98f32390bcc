#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

namespace lumbro {

/// Moves a file or folder to the user's Trash and gives its path there. On a failure it stands where it was.
Result<QString> moveToTrash(const QString& path);

}  // namespace lumbro
