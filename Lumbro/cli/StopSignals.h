#pragma once

#include <QSocketNotifier>

#include <csignal>
#include <functional>
#include <memory>

namespace lumbro::cli {

/// While it lives, SIGINT, SIGTERM and SIGHUP call a function from the event loop instead of ending the
/// process. Threads and processes begun meanwhile do not get these signals. Main thread; make it before other
/// threads, as those would still be ended by them.
class StopSignals {
  public:
    explicit StopSignals(std::function<void()> stop);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

  private:
    std::function<void()> m_stop;
    sigset_t m_before{};
    int m_descriptor = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

}  // namespace lumbro::cli
