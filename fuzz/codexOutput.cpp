// The events that Codex prints, and its error output. The first byte chooses how the process ended.
#include "runners/CodexOutput.h"

#include "Agent.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    AgentEnd end = fuzz::agentEnd(data[0]);
    end.exit.errors = fuzz::bytes(data + 1, size - 1);

    codex::EventStream events;
    fuzz::feed(events, end.exit.errors, 1 + (data[0] >> 3));
    fuzz::checkJudged(codex::judge(end, events), end);
    fuzz::check(codex::readableErrors(end.exit.errors).size() <= end.exit.errors.size());
    return 0;
}
