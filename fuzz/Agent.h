#pragma once

#include "Check.h"
#include "runners/AgentProcess.h"

namespace lumbro::fuzz {

/// How an agent ended, chosen by three bits.
inline AgentEnd agentEnd(uint8_t choice) {
    AgentEnd end;
    end.exit.status = choice & 1;
    end.exit.bySignal = (choice & 2) != 0;
    end.timedOut = (choice & 4) != 0;
    return end;
}

/// Feeds a stream of events piece by piece.
template <typename Stream>
void feed(Stream& stream, const QByteArray& output, qsizetype piece) {
    for (qsizetype at = 0; at < output.size(); at += piece) {
        stream.feed(output.mid(at, piece));
    }
    stream.finish();
}

/// Only an agent that ended well has answered, and every failure is told.
inline void checkJudged(const Result<QString>& judged, const AgentEnd& end) {
    if (judged) {
        check(!judged->isEmpty() && *judged == judged->trimmed());
        check(end.exit.status == 0 && !end.exit.bySignal);
    } else {
        check(!judged.error().message.isEmpty());
    }
}

}  // namespace lumbro::fuzz
