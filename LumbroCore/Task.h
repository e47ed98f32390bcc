#pragma once

#include <QCoroTask>

#include <utility>

namespace lumbro {

/// An asynchronous flow on the main thread. Starts at once; its arguments are taken by value. Beware that
/// `co_return m_member;` moves the member away: write `co_return T(m_member);`.
template <typename T = void>
using Task = QCoro::Task<T>;

/// Lets a flow run on by itself. Whatever the flow refers to must outlive it or be checked by it.
template <typename T>
void runDetached(Task<T>&& task) {
    // Dropping a QCoro task does not end its coroutine: the frame lives until the flow is done.
    [[maybe_unused]] const Task<T> running = std::move(task);
}

}  // namespace lumbro
