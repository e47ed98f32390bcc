#pragma once

#include "LumbroCore/Clock.h"
#include "runners/AgentRequest.h"

namespace lumbro {

/// A command line of the user's own that answers prompts. It is split at blanks (quotes and backslashes as in
/// a shell hold a piece together), not given to a shell; a leading "~/" is the home folder. Standard input
/// holds "<system prompt>\n\n<instruction>\n\n<context>"; the variables LUMBRO_SYSTEM_PROMPT,
/// LUMBRO_INSTRUCTION and LUMBRO_MODEL hold these one by one, each left out where it exceeds the 128 KiB that
/// the system allows. What it prints, with status 0, is the answer; it is handed on as it comes to a request
/// that wants so. The clock must outlive every run; the provider need not.
class CommandProvider final : public AgentProvider {
  public:
    CommandProvider(Clock& clock, QString commandLine);

    /// The answer, trimmed and never empty. Fails as `notLoggedIn`, `limit`, `timedOut`, `cancelled` or
    /// `failed`. Comes back only when the child has gone.
    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override;

  private:
    Clock& m_clock;
    QString m_commandLine;
};

}  // namespace lumbro
