#include "runners/CommandProviders.h"

#include <utility>

namespace lumbro {

void CommandProviders::registerProvider(AIProvider provider, std::shared_ptr<AgentProvider> agent) {
    const std::lock_guard guard(m_lock);
    if (agent == nullptr) {
        m_agents.erase(provider);
    } else {
        m_agents.insert_or_assign(provider, std::move(agent));
    }
}

std::shared_ptr<AgentProvider> CommandProviders::find(AIProvider provider) const {
    const std::lock_guard guard(m_lock);
    const auto found = m_agents.find(provider);
    return found == m_agents.end() ? nullptr : found->second;
}

}  // namespace lumbro
