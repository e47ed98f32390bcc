#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "runners/AgentRequest.h"
#include "runners/CommandProviders.h"

namespace lumbro {

/// The provider choice, made anew at each run: the user's own command when the setting `customCommand` holds
/// one, else what is registered for the provider of the setting `aiProvider`, else that provider's runner.
/// A request that names its provider passes the custom command over; one that needs connectors always goes to
/// Claude. Main thread. Everything borrowed must outlive every
/// run.
class PreferredAgent final : public AgentProvider {
  public:
    PreferredAgent(Settings& settings, Clock& clock, const CommandProviders& providers, AgentProvider& claude,
                   AgentProvider& codex);

    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override;

  private:
    std::shared_ptr<AgentProvider> standIn(std::optional<AIProvider> chosen) const;

    Settings& m_settings;
    Clock& m_clock;
    const CommandProviders& m_providers;
    AgentProvider& m_claude;
    AgentProvider& m_codex;
};

}  // namespace lumbro
