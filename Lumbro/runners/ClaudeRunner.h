#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "runners/AgentRequest.h"

#include <optional>

namespace lumbro {

/// The user's own Claude Code command line. Every prompt is one short-lived child process: the instruction on
/// its command line, the context on its standard input, one JSON result on its standard output. Keeps no
/// state but the remembered path of the executable, so any number of runs may be under way. Main thread. The
/// settings and the clock must outlive every run; the runner need not.
class ClaudeRunner final : public AgentProvider {
  public:
    ClaudeRunner(Settings& settings, Clock& clock);

    /// The reply, trimmed and never empty. Fails as `notInstalled`, `notLoggedIn`, `limit`, `timedOut`,
    /// `cancelled`, `toolsNotReady` or `failed`. Comes back only when the child has gone.
    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override;

    /// The path of the executable: the remembered one, else the first in the customary places and on the
    /// PATH, else what the user's login shell finds. A new find is remembered.
    Task<std::optional<QString>> locate();

  private:
    Settings& m_settings;
    Clock& m_clock;
};

}  // namespace lumbro
