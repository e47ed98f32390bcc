#pragma once

#include "actions/formats/ActionRun.h"
#include "actions/formats/Connector.h"
#include "runners/AgentRequest.h"

#include <QString>

#include <optional>

namespace lumbro {

/// What is to be done in an app.
struct ActionRequest {
    QString instruction{};
    QString content{};
    /// Where it comes from, in a line.
    QString about{};
    std::optional<QString> captureID{};
    std::optional<QString> askThread{};

    /// The work of a run once more.
    static ActionRequest again(const ActionRun& run);
};

/// What the agent is asked for a run: to work with this connector's tools alone, and to delete only where the
/// user's own words say so.
AgentRequest agentRequest(const ActionRun& run, const Connector& connector);

}  // namespace lumbro
