#pragma once

#include <coroutine>
#include <utility>
#include <vector>

namespace lumbro {

/// Something that happens once and that any number of flows may wait for with `co_await`. Main thread. A
/// flow that waits must hold the latch itself, as its owner may go first.
class Latch {
  public:
    bool isOpen() const { return m_isOpen; }
    /// Lets all waiting flows run on. A second call does nothing.
    void open() {
        m_isOpen = true;
        for (const std::coroutine_handle<> flow : std::exchange(m_waiting, {})) {
            flow.resume();
        }
    }

    bool await_ready() const noexcept { return m_isOpen; }
    void await_suspend(std::coroutine_handle<> flow) { m_waiting.push_back(flow); }
    void await_resume() const noexcept {}

  private:
    bool m_isOpen = false;
    std::vector<std::coroutine_handle<>> m_waiting;
};

}  // namespace lumbro
