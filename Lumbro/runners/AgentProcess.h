#pragma once

#include "LumbroCore/ChildProcess.h"
#include "LumbroCore/Clock.h"
#include "runners/AgentRequest.h"

#include <functional>

namespace lumbro {

/// How an agent's process ended.
struct AgentEnd {
    ChildExit exit;
    /// The time was up, or a signal ended it. Status 143 is an agent that took the signal and left.
    bool timedOut = false;
    /// Its time was up.
    bool isTimeUp = false;
};

/// What a run wants after a piece of its output.
enum class AgentWish { goOn, end };

/// Called with each piece of output. A process that is to end is asked to; one that does not obey within ten
/// seconds is killed where its command allows it, and let go.
using AgentOutput = std::function<AgentWish(const QByteArray&)>;

/// The default for `AgentRequest::timeout`.
inline constexpr std::chrono::milliseconds defaultTimeout = std::chrono::seconds(180);

/// Runs an agent's process under a watchdog that asks it to end when the time is up, and under the caller's
/// handle (may be none). Fails as `cancelled` without a start when the handle is cancelled already, and as
/// `failed` with the system's reason when the process can't be started. The clock must outlive it.
Task<Result<AgentEnd>> runAgentProcess(ChildCommand command, Clock& clock,
                                       std::optional<std::chrono::milliseconds> timeout,
                                       std::shared_ptr<CancellationHandle> cancel, AgentOutput onOutput);

}  // namespace lumbro
