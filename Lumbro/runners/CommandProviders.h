#pragma once

#include "runners/AIProvider.h"
#include "runners/AgentRequest.h"

#include <map>
#include <memory>
#include <mutex>

namespace lumbro {

/// What stands in for a built-in runner, by provider. Any thread.
class CommandProviders {
  public:
    /// Replaces the one registered before; none takes it out.
    void registerProvider(AIProvider provider, std::shared_ptr<AgentProvider> agent);
    std::shared_ptr<AgentProvider> find(AIProvider provider) const;

  private:
    mutable std::mutex m_lock;
    std::map<AIProvider, std::shared_ptr<AgentProvider>> m_agents;
};

}  // namespace lumbro
