#include "actions/ActionRequest.h"

#include "LumbroCore/Literals.h"
#include "actions/formats/ActionPrompt.h"

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto longestRun = 600s;

}  // namespace

ActionRequest ActionRequest::again(const ActionRun& run) {
    return {.instruction = run.instruction,
            .content = run.content,
            .about = run.about,
            .captureID = run.captureID,
            .askThread = run.askThread};
}

AgentRequest agentRequest(const ActionRun& run, const Connector& connector) {
    const QString prefix = connector.allow();
    AgentRequest request{.systemPrompt = actionPrompt::system(),
                         .instruction = actionPrompt::instruction(run.app),
                         .context = actionPrompt::input(run),
                         .model = u"sonnet"_s,
                         .connectors = AgentConnectors{.config = connector.config, .allow = {prefix}},
                         .timeout = longestRun,
                         .requireTools = prefix};
    if (!actionPrompt::allowsDestructive(run.instruction)) {
        request.disallowed = connector.deletionGuard();
        // One that is denied by name may show; any other shows that its pattern doesn't hold.
        request.mustNotLoad = [connector, denied = request.disallowed](const QString& tool) {
            return connector.isDestructive(tool) && !denied.contains(tool);
        };
    }
    return request;
}

}  // namespace lumbro
