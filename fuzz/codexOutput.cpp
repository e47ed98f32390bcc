// The events that Codex prints, and its error output. The first byte chooses how the process ended.
#include "runners/CodexOutput.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    AgentEnd end;
    end.exit.status = data[0] & 1;
    end.exit.bySignal = (data[0] & 2) != 0;
    end.timedOut = (data[0] & 4) != 0;
    end.exit.errors = fuzz::bytes(data + 1, size - 1);

    codex::EventStream events;
    const qsizetype length = 1 + (data[0] >> 3);
    for (qsizetype at = 0; at < end.exit.errors.size(); at += length) {
        events.feed(end.exit.errors.mid(at, length));
    }
    events.finish();
    const Result<QString> judged = codex::judge(end, events);
    if (judged) {
        fuzz::check(!judged->isEmpty() && end.exit.status == 0 && !end.exit.bySignal);
    } else {
        fuzz::check(!judged.error().message.isEmpty());
    }
    fuzz::check(codex::readableErrors(end.exit.errors).size() <= end.exit.errors.size());
    return 0;
}
