#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ChildProcess;
enum class AIProvider;

/// Shared by a caller and a run. To cancel, call `cancel`: it marks the run and asks its process to end.
class CancellationHandle {
  public:
    bool isCancelled = false;
    /// Set by the run right after a successful launch.
    std::weak_ptr<ChildProcess> process;

    void cancel();
};

/// The connectors that a run may load. Without a configuration, those that the user has set up.
struct AgentConnectors {
    std::optional<QString> config{};
    QStringList allow{};
};

/// One prompt for an agent. The context goes to standard input, everything else to the command line.
struct AgentRequest {
    QString systemPrompt{};
    QString instruction{};
    QString context{};
    /// The alias "sonnet", "haiku" or "opus", or a model's full name.
    QString model{};
    QStringList tools{};
    /// Empty: a scratch folder.
    QString workingDirectory{};
    /// None: no connector can load.
    std::optional<AgentConnectors> connectors{};
    QStringList disallowed{};
    /// None: 180 seconds.
    std::optional<std::chrono::milliseconds> timeout{};
    /// Prefix of tool names without its "__": the run is stopped when no such tool has loaded.
    std::optional<QString> requireTools{};
    /// With `requireTools`: tells which of its tools the run must not have. The run is stopped, before the
    /// model can act, when one has loaded all the same. May be empty.
    std::function<bool(const QString& tool)> mustNotLoad{};
    /// None: the one that the settings prefer, or the user's own command.
    std::optional<AIProvider> provider{};
    /// Called with each piece of the reply's text as it comes, by agents that can; `isNew` tells that what
    /// came before was not the reply. May be empty.
    std::function<void(const QString& piece, bool isNew)> onText{};
};

/// Something that answers prompts: an agent's command line, or a stand-in. Main thread.
class AgentProvider {
  public:
    AgentProvider() = default;
    AgentProvider(const AgentProvider&) = delete;
    AgentProvider& operator=(const AgentProvider&) = delete;
    virtual ~AgentProvider() = default;

    /// The reply's text, trimmed and never empty, or a typed failure.
    virtual Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) = 0;
};

}  // namespace lumbro
