#include "runners/AgentClaim.h"

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto look = 500ms;

}  // namespace

Task<AgentClaim> claimInTurn(Clock* clock, QString path, std::function<void()> onWait,
                             std::shared_ptr<CancellationHandle> cancel) {
    for (bool isTold = false;;) {
        auto claim = std::make_shared<LockFile>(path);
        if (claim->isMine()) {
            co_return claim;
        }
        if (!onWait || (cancel && cancel->isCancelled)) {
            co_return AgentClaim();
        }
        if (!std::exchange(isTold, true)) {
            onWait();
        }
        co_await clock->sleep(look);
    }
}

}  // namespace lumbro
