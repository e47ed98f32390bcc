#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Task.h"

#include <QString>

#include <chrono>
#include <functional>
#include <utility>

namespace lumbro {

/// Whether there is an agent to work on files, which is asked before one is taken. Main thread.
class AgentPresence {
  public:
    /// Why there is none, for people; empty when there is one.
    using Why = std::function<Task<QString>()>;
    /// So long nobody looks again by himself.
    static constexpr std::chrono::minutes rest{5};

    /// The clock must outlive it. Without a `why` there always is an agent.
    AgentPresence(Clock& clock, Why why) : m_clock(clock), m_why(std::move(why)) {}

    /// What `why` says now. It may go before the answer comes.
    Task<QString> problem() const;
    /// Takes in what was found, and rests after a problem. True for one that is new.
    bool note(const QString& problem);
    bool rests() const { return m_clock.elapsed() < m_restsUntil; }

  private:
    Clock& m_clock;
    Why m_why;
    Clock::Duration m_restsUntil{0};
    QString m_known;
};

}  // namespace lumbro
