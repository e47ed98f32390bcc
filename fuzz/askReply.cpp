// A model's answer: what is shown while it comes is always a beginning of what is stored.
#include "ask/formats/AskReply.h"

#include "Check.h"
#include "ask/formats/AnswerStream.h"
#include "ask/formats/EventLines.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    const qsizetype piece = data[0] % 32 + 1;
    const QString output = QString::fromUtf8(fuzz::bytes(data + 1, size - 1));
    const AskReply reply = AskReply::parse(output);
    AnswerStream stream;
    QString shown;
    for (qsizetype at = 0; at < output.size(); at += piece) {
        shown += stream.feed(output.mid(at, piece));
        fuzz::check(reply.text.left(shown.size()) == shown);
    }
    fuzz::check(AskReply::resolve(reply.rawSources, {}).size() <= 3);
    eventLines::removed(reply.text);
    return 0;
}
