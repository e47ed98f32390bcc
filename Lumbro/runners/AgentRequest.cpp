#include "runners/AgentRequest.h"

#include "LumbroCore/ChildProcess.h"

namespace lumbro {

void CancellationHandle::cancel() {
    isCancelled = true;
    if (const auto running = process.lock()) {
        running->terminate();
    }
}

}  // namespace lumbro
