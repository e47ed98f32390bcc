#pragma once

#include "LumbroCore/Task.h"

#include <QCoroTask>

#include <chrono>
#include <functional>

namespace lumbro::test {

/// Runs what is queued on the main thread, without waiting.
void processEvents();

/// Runs the event loop until the condition holds. False when it did not within the bound, which is there only
/// to end a hanging test.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds bound = std::chrono::seconds(60));

/// Runs the event loop until the flow is done and gives its result.
template <typename T>
T wait(Task<T> task) {
    return QCoro::waitFor(std::move(task));
}

}  // namespace lumbro::test
