#include "cli/services/SendContent.h"

#include "LumbroCore/Dates.h"
#include "actions/formats/ActionPrompt.h"
#include "ask/AskThreads.h"
#include "ask/formats/AskTarget.h"
#include "cli/AskCommands.h"
#include "cli/CaptureJson.h"
#include "cli/CaptureLookup.h"
#include "cli/StandardInput.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"

#include <QStringDecoder>

#include <cstdio>

namespace lumbro::cli {

namespace {

constexpr qint64 longestInput = qint64(8) * 1024 * 1024;

Result<SendContent> fromInput() {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QByteArray bytes = readStandardInput(longestInput).value_or(QByteArray());
    const QString text = decoder.decode(bytes);
    if (decoder.hasError() || bytes.size() > longestInput || text.contains(QChar::Null)) {
        return fail(u"What stands on standard input is no text, or longer than 8 MB."_s);
    }
    return SendContent{.text = text, .about = u"Given on the command line"_s};
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
                       .captureID = record->id()};
}

Result<SendContent> fromAsk(Services& services, const QString& id) {
    const auto thread = findThread(AskThreads(services.library().root()).readAll({}), id);
    if (!thread) {
        return std::unexpected(thread.error());
    }
    const AskTurn turn = thread->turns.isEmpty() ? AskTurn() : thread->turns.last();
    return SendContent{.text = turn.answer,
                       .askThread = thread->id,
                       .question = turn.question.simplified(),
                       .action = turn.action.value_or(QString())};
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

ActionRequest requestFor(const SendContent& content, const Connector& connector,
                         const std::optional<QString>& instruction) {
    ActionRequest request{.instruction = instruction.value_or(connector.defaultInstruction()),
                          .content = content.text,
                          .about = content.about,
                          .captureID = content.captureID,
                          .askThread = content.askThread};
    if (content.askThread) {
        const auto target = AskTarget::forAction(content.action, {{connector.id, connector.app}});
        const bool isMeant = target && target->kind == AskTarget::Kind::connector;
        request.about = (isMeant ? u"Ask Lumbro: "_s : u"Ask Lumbro answer to: "_s) + content.question;
        request.instruction = instruction.value_or(actionPrompt::forAnswer(content.question, connector.app));
    }
    return request;
}

}  // namespace lumbro::cli
