// What Claude Code prints, whole and in pieces. The first byte of the input chooses how the process ended.
#include "runners/ClaudeOutput.h"

#include "Agent.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    AgentEnd end = fuzz::agentEnd(data[0]);
    end.exit.output = fuzz::bytes(data + 1, size - 1);
    end.exit.errors = (data[0] & 8) != 0 ? end.exit.output : QByteArray();
    fuzz::checkJudged(claude::judge(end, claude::plainResult(end.exit.output)), end);

    const AgentRequest request{.requireTools = QStringLiteral("mcp__slack"),
                               .mustNotLoad = [](const QString& tool) { return tool.contains(u"delete"); }};
    claude::EventStream whole(request);
    fuzz::feed(whole, end.exit.output, end.exit.output.size() + 1);
    fuzz::checkJudged(claude::judge(end, whole.result()), end);

    claude::EventStream pieces(request);
    fuzz::feed(pieces, end.exit.output, 1 + (data[0] >> 4));
    fuzz::check(pieces.result() == whole.result() && pieces.refusal() == whole.refusal());
    return 0;
}
