#pragma once

#include "runners/AgentRequest.h"

#include <coroutine>
#include <memory>
#include <optional>
#include <vector>

namespace lumbro::test {

/// An agent whose replies the test gives when it wants to.
class ScriptedAgent final : public AgentProvider {
  public:
    struct Call {
        AgentRequest request;
        std::shared_ptr<CancellationHandle> cancel;
        std::optional<Result<QString>> reply;
        std::coroutine_handle<> waiting;

        /// Gives the reply; whatever waits for it runs on before this returns.
        void answer(const Result<QString>& result) {
            reply = result;
            if (waiting) {
                std::exchange(waiting, nullptr).resume();
            }
        }
    };

    std::vector<std::shared_ptr<Call>> calls;

    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override {
        const auto call = std::make_shared<Call>(Call{std::move(request), std::move(cancel), {}, {}});
        calls.push_back(call);
        co_await Reply{*call};
        co_return *call->reply;
    }

    /// The calls with this instruction, in their order.
    std::vector<std::shared_ptr<Call>> callsFor(const QString& instruction) const {
        std::vector<std::shared_ptr<Call>> found;
        for (const auto& call : calls) {
            if (call->request.instruction == instruction) {
                found.push_back(call);
            }
        }
        return found;
    }

  private:
    struct Reply {
        Call& call;

        bool await_ready() const { return call.reply.has_value(); }
        void await_suspend(std::coroutine_handle<> handle) { call.waiting = handle; }
        void await_resume() const {}
    };
};

}  // namespace lumbro::test
