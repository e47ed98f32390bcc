// What Claude Code prints, whole and in pieces. The first byte of the input chooses how the process ended.
#include "runners/ClaudeOutput.h"

#include "Check.h"

using namespace lumbro;

namespace {

void checkJudged(const Result<QString>& judged, const AgentEnd& end) {
    if (judged) {
        fuzz::check(!judged->isEmpty() && *judged == judged->trimmed());
        fuzz::check(end.exit.status == 0 && !end.exit.bySignal);
    } else {
        fuzz::check(!judged.error().message.isEmpty());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    AgentEnd end;
    end.exit.status = data[0] & 1;
    end.exit.bySignal = (data[0] & 2) != 0;
    end.timedOut = (data[0] & 4) != 0;
    end.exit.output = fuzz::bytes(data + 1, size - 1);
    end.exit.errors = (data[0] & 8) != 0 ? end.exit.output : QByteArray();
    checkJudged(claude::judge(end, claude::plainResult(end.exit.output)), end);

    claude::EventStream whole(QStringLiteral("mcp__slack"));
    whole.feed(end.exit.output);
    whole.finish();
    checkJudged(claude::judge(end, whole.result()), end);

    claude::EventStream pieces(QStringLiteral("mcp__slack"));
    const qsizetype length = 1 + (data[0] >> 4);
    for (qsizetype at = 0; at < end.exit.output.size(); at += length) {
        pieces.feed(end.exit.output.mid(at, length));
    }
    pieces.finish();
    fuzz::check(pieces.result() == whole.result() && pieces.toolsAreMissing() == whole.toolsAreMissing());
    return 0;
}
