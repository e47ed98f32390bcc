#include "cli/services/SendContent.h"

#include "LumbroCore/Dates.h"
#include "ask/AskThreads.h"
#include "cli/AskCommands.h"
#include "cli/CaptureJson.h"
#include "cli/CaptureLookup.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"

#include <QFile>
#include <QStringDecoder>

#include <cstdio>

namespace lumbro::cli {

namespace {

constexpr qint64 longestInput = qint64(8) * 1024 * 1024;

Result<SendContent> fromInput() {
    QFile input;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QByteArray bytes =
        input.open(stdin, QIODevice::ReadOnly) ? input.read(longestInput + 1) : QByteArray();
    const QString text = decoder.decode(bytes);
    if (decoder.hasError() || bytes.size() > longestInput || text.contains(QChar::Null)) {
        return fail(u"What stands on standard input is no text, or longer than 8 MB."_s);
    }
    return SendContent{
        .text = text, .about = u"Given on the command line"_s, .captureID = {}, .askThread = {}};
}

QString transcriptOf(const CaptureDetails& details) {
    QStringList lines;
    for (const TranscriptSegment& paragraph : details.paragraphs) {
        lines << transcript::line(paragraph);
    }
    return lines.join(u'\n');
}

Result<SendContent> fromCapture(Services& services, const QString& id) {
    const ContextLibrary& library = services.library();
    const auto record = findCapture(library.capturesFolder(), id);
    if (!record) {
        return std::unexpected(record.error());
    }
    const CaptureDetails details = captureDetails(*record);
    const auto enhance = library.enhanceEngine();
    QString text = details.handoffs.value(enhance ? enhance->id : u"notes"_s);
    for (const QString& other : {details.notes, transcriptOf(details)}) {
        text = text.trimmed().isEmpty() ? other : text;
    }
    return SendContent{.text = text,
                       .about = u"\"%1\", %2 (captures/%3)"_s.arg(
                           record->meta.title, dates::readable(record->meta.startedAt), record->id()),
                       .captureID = record->id(),
                       .askThread = {}};
}

Result<SendContent> fromAsk(Services& services, const QString& id) {
    const auto thread = findThread(AskThreads(services.library().root()).readAll({}), id);
    if (!thread) {
        return std::unexpected(thread.error());
    }
    const bool hasAnswer = !thread->turns.isEmpty();
    return SendContent{.text = hasAnswer ? thread->turns.last().answer : QString(),
                       .about = u"An answer to \"%1\", %2"_s.arg(
                           hasAnswer ? thread->turns.last().question.simplified() : thread->title,
                           dates::readable(thread->updated())),
                       .captureID = {},
                       .askThread = thread->id};
}

}  // namespace

Result<SendContent> sendContent(Services& services, const QString& from) {
    const QString place = from.section(u':', 0, 0);
    const QString id = from.section(u':', 1);
    Result<SendContent> content =
        fail(FailureKind::notFound,
             u"\"%1\" is no content to send; give capture:ID, ask:ID or - for standard input."_s.arg(from));
    if (from == u"-") {
        content = fromInput();
    } else if (place == u"capture" && !id.isEmpty()) {
        content = fromCapture(services, id);
    } else if (place == u"ask" && !id.isEmpty()) {
        content = fromAsk(services, id);
    }
    if (content && content->text.trimmed().isEmpty()) {
        return fail(
            u"There is nothing to send: %1 is empty."_s.arg(from == u"-" ? u"standard input"_s : from));
    }
    return content;
}

}  // namespace lumbro::cli
