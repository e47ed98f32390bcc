#pragma once

#include "LumbroCore/Mailbox.h"
#include "LumbroCore/Task.h"

#include <coroutine>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>

namespace lumbro {

namespace detail {

template <typename Work>
struct BackgroundAwaiter {
    using Value = std::invoke_result_t<Work&>;

    Work work;
    std::optional<Value> result = {};
    Mailbox mailbox = {};
    std::thread thread = {};

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        thread = std::thread([this, handle] {
            result.emplace(work());
            mailbox.post([handle] { handle.resume(); });
        });
    }
    Value await_resume() {
        thread.join();
        return std::move(*result);
    }
};

}  // namespace detail

/// Runs `work` on a thread of its own and gives its value on the calling thread. For long work on files.
template <typename Work>
Task<std::invoke_result_t<Work&>> inBackground(Work work) {
    detail::BackgroundAwaiter<Work> awaiter{std::move(work)};
    co_return co_await awaiter;
}

}  // namespace lumbro
