#include "cli/services/RecordingCommands.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/TempFolder.h"
#include "cli/CaptureText.h"
#include "cli/Table.h"
#include "cli/services/RecordingRun.h"
#include "library/ContextLibrary.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

namespace lumbro::cli {

namespace {

void sayRemarks(Output& output, const QStringList& remarks) {
    for (const QString& remark : remarks) {
        output.say(output.styledError(u"note:"_s, Look::bold) + u' ' + Output::clean(remark));
    }
}

int refuse(Output& output, const Failure& failure, const QString& command) {
    output.fail(failure);
    output.say(usageLine(*findCommand({command}).command));
    return wrongUsage;
}

QString summaryLine(const CaptureDetails& details) {
    const CaptureMeta& meta = details.summary.record.meta;
    QString text = u"\"%1\", %2, %3"_s.arg(Output::clean(meta.title), lengthText(details.summary.record),
                                           counted(details.summary.words, u"word"_s, u"words"_s));
    if (!details.handoffs.isEmpty()) {
        text += u", results: "_s + QStringList(details.handoffs.keys()).join(u", "_s);
    }
    return text;
}

// The id is the result, so that a script can go on with it; what people want to read is said beside it.
void printOutcome(Output& output, const Arguments& arguments, const RecordingRun::Outcome& outcome) {
    const CaptureDetails details = captureDetails(outcome.record);
    sayRemarks(output, outcome.remarks);
    if (arguments.wantsJson()) {
        output.printJson(captureJson(details));
        return;
    }
    output.say(summaryLine(details));
    output.printLine(outcome.record.id());
}

/// How the words that are missing can still be had.
QString againText(const CaptureRecord& record, const QString& root) {
    const QMap<QString, QString> audio = captureDetails(record).audio;
    QString files = audio.value(u"me"_s);
    files += audio.contains(u"them"_s) ? u" --them "_s + audio.value(u"them"_s) : QString();
    return u" Its audio is kept; to hear all of it: %1 import %2"_s.arg(commandOn(root), files);
}

// Nobody can get unsaved words back once this program has ended.
int failOfLoss(Output& output, const RecordingRun::Outcome& outcome) {
    int status = 0;
    for (const auto& loss : {outcome.lostAudio, outcome.lostText, outcome.missedWords}) {
        status = loss ? output.fail(*loss) : status;
    }
    const TranscriptSegments paragraphs = transcript::merged(outcome.unsavedWords);
    if (!paragraphs.isEmpty()) {
        output.say(u"The words that are not on the disk:"_s);
    }
    for (const TranscriptSegment& paragraph : paragraphs) {
        output.say(Output::clean(transcript::line(paragraph)));
    }
    return status;
}

// A part of a file is less than was asked of an import; a recording is as long as the user lets it be.
enum class EarlyEnd { fine, failure };

Task<int> runAndPrint(CommandContext context, RecordingPlan plan, EarlyEnd earlyEnd) {
    RecordingRun run(context.output, std::move(plan));
    auto outcome = co_await run.run();
    if (!outcome) {
        co_return context.output.fail(outcome.error());
    }
    if (outcome->isGone) {
        co_return failOfLoss(context.output, *outcome);
    }
    // The title may have come after the recording's end.
    outcome->record = run.services().library().record(outcome->record.id()).value_or(outcome->record);
    if (outcome->missedWords) {
        *outcome->missedWords += againText(outcome->record, run.services().library().root());
    }
    printOutcome(context.output, context.arguments, *outcome);
    const bool isPart = outcome->stoppedEarly && earlyEnd == EarlyEnd::failure;
    co_return std::max(failOfLoss(context.output, *outcome), isPart ? 1 : 0);
}

Result<RecordingPlan> demoPlan(const QString& folder) {
    RecordingPlan plan;
    plan.libraryRoot = folder + u"/Quillet"_s;
    plan.speechLocale = u"en-US"_s;
    for (const QString& side : {u"me"_s, u"them"_s}) {
        const QString target = folder + u'/' + side + u".flac"_s;
        const auto bytes = readFile(u":/demo/%1.flac"_s.arg(side));
        if (!bytes) {
            return fail(u"The demo call is missing from this build."_s);
        }
        if (const auto written = writeFileAtomically(target, *bytes); !written) {
            return std::unexpected(written.error());
        }
        (side == u"me" ? plan.microphone : plan.system) = SideSource::parse(u"file:"_s + target);
    }
    return plan;
}

void printDemo(Output& output, const CaptureRecord& record, const QString& root) {
    const CaptureDetails details = captureDetails(record);
    output.print(captureText(output, details));
    output.printLine();
    output.printLine(u"The demo's library: "_s + root);
    output.printLine(u"Look at it with: %1 show last"_s.arg(commandOn(root)));
}

}  // namespace

Task<int> record(CommandContext context) {
    const auto plan = RecordingPlan::forRecord(context.arguments);
    if (!plan) {
        co_return refuse(context.output, plan.error(), u"record"_s);
    }
    co_return co_await runAndPrint(context, *plan, EarlyEnd::fine);
}

Task<int> recordPlan(CommandContext context, RecordingPlan plan) {
    co_return co_await runAndPrint(std::move(context), std::move(plan), EarlyEnd::fine);
}

Task<int> importFile(CommandContext context) {
    const auto plan = RecordingPlan::forImport(context.arguments);
    if (!plan) {
        if (plan.error().kind == FailureKind::notFound) {
            co_return context.output.fail(plan.error());
        }
        co_return refuse(context.output, plan.error(), u"import"_s);
    }
    co_return co_await runAndPrint(context, *plan, EarlyEnd::failure);
}

Task<int> demo(CommandContext context) {
    Output& output = context.output;
    QTemporaryDir folder(tempFolder() + u"/lumbro-demo-XXXXXX"_s);
    if (!folder.isValid()) {
        co_return output.fail({FailureKind::failed,
                               u"Couldn't make a folder for the demo: %1. Set TMPDIR to a folder that can be "
                               u"written."_s.arg(folder.errorString())});
    }
    folder.setAutoRemove(false);
    const auto plan = demoPlan(folder.path());
    if (!plan) {
        co_return output.fail(plan.error());
    }
    output.say(
        u"A call of half a minute, read by one person for both sides. Its words appear as they are "
        u"recognised on this machine; then your agent writes the notes."_s);
    RecordingRun run(output, *plan);
    const auto outcome = co_await run.run();
    if (!outcome) {
        co_return output.fail(outcome.error());
    }
    const CaptureRecord record =
        run.services().library().record(outcome->record.id()).value_or(outcome->record);
    if (context.arguments.wantsJson()) {
        output.printJson(captureJson(captureDetails(record)));
    } else {
        printDemo(output, record, plan->libraryRoot);
    }
    sayRemarks(output, outcome->remarks);
    co_return failOfLoss(output, *outcome);
}

}  // namespace lumbro::cli
