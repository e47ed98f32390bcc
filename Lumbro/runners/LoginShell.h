#pragma once

#include "LumbroCore/Clock.h"
#include "runners/AgentRequest.h"

#include <QString>

namespace lumbro {

/// Runs a command in the user's login shell, with their start files read, and gives the last line that it
/// printed, without blanks around it. Fails as `notFound` when there is no line, as `timedOut` with a
/// sentence when there is no end within 10 seconds, and as `cancelled` through the caller's handle (may be
/// none). Main thread; the clock must outlive it.
Task<Result<QString>> loginShellLine(QString command, Clock& clock,
                                     std::shared_ptr<CancellationHandle> cancel);

}  // namespace lumbro
