#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "runners/AgentRequest.h"

#include <optional>

namespace lumbro {

/// The user's own Codex command line: one read-only child process per prompt. Of a request it uses the system
/// prompt, the instruction, the context, the working folder and the time-out; the model only chooses the
/// effort. Main thread. The settings and the clock must outlive every run; the runner need not.
class CodexRunner final : public AgentProvider {
  public:
    CodexRunner(Settings& settings, Clock& clock);

    /// The reply, trimmed and never empty. Fails as `cancelled`, `limit` or `failed`. Comes back only when
    /// the child has gone.
    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override;

    /// The path of the executable, found as for Claude Code.
    Task<std::optional<QString>> locate();

    /// Whether `codex login status` says that somebody is signed in. False as well when Codex isn't there or
    /// doesn't answer within 20 seconds.
    Task<bool> isSignedIn();

  private:
    Settings& m_settings;
    Clock& m_clock;
};

}  // namespace lumbro
