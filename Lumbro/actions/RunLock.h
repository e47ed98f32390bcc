#pragma once

#include "LumbroCore/LockFile.h"

namespace lumbro {

/// Marks a run as under way.
using RunLock = LockFile;

}  // namespace lumbro
