#include "runners/PreferredAgent.h"

#include "runners/CommandProvider.h"

namespace lumbro {

PreferredAgent::PreferredAgent(Settings& settings, Clock& clock, const CommandProviders& providers,
                               AgentProvider& claude, AgentProvider& codex)
    : m_settings(settings), m_clock(clock), m_providers(providers), m_claude(claude), m_codex(codex) {}

std::shared_ptr<AgentProvider> PreferredAgent::standIn(std::optional<AIProvider> chosen) const {
    const QString command = m_settings.string(u"customCommand"_s).trimmed();
    if (!chosen && !command.isEmpty()) {
        return std::make_shared<CommandProvider>(m_clock, command);
    }
    return m_providers.find(chosen.value_or(preferredProvider(m_settings)));
}

Task<Result<QString>> PreferredAgent::run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) {
    if (request.connectors || request.requireTools) {
        co_return co_await m_claude.run(std::move(request), std::move(cancel));
    }
    if (const auto agent = standIn(request.provider)) {
        co_return co_await agent->run(std::move(request), std::move(cancel));
    }
    const bool useCodex = request.provider.value_or(preferredProvider(m_settings)) == AIProvider::codex;
    co_return co_await (useCodex ? m_codex : m_claude).run(std::move(request), std::move(cancel));
}

}  // namespace lumbro
