#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <functional>

namespace lumbro::speech {

/// Runs `work` on a thread of the pool and gives its result on the main thread. For long work on files.
Task<Result<QString>> inBackground(std::function<Result<QString>()> work);

}  // namespace lumbro::speech
