#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/LockFile.h"
#include "LumbroCore/Task.h"
#include "runners/AgentRequest.h"

#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

/// The right to ask an agent for a piece of work, which costs time and money and is therefore asked for by
/// one process at a time. It ends with its last owner, or with the process.
using AgentClaim = std::shared_ptr<LockFile>;

/// Takes the claim of the file at `path`. When another one has it, none is given; with `onWait`, which is
/// called once then, only after the work was cancelled, and until then the other one's end is waited for. The
/// clock must outlive the task.
Task<AgentClaim> claimInTurn(Clock* clock, QString path, std::function<void()> onWait,
                             std::shared_ptr<CancellationHandle> cancel);

}  // namespace lumbro
