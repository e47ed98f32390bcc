#include "cli/services/SendCommand.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/NextSignal.h"
#include "actions/ActionFiles.h"
#include "actions/ActionRunner.h"
#include "actions/Connectors.h"
#include "actions/formats/ActionPrompt.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/Confirm.h"
#include "cli/RunCommands.h"
#include "cli/RunText.h"
#include "cli/Table.h"
#include "cli/services/ConnectorCommands.h"
#include "cli/services/RunWatch.h"
#include "cli/services/SendContent.h"
#include "library/ContextLibrary.h"

#include <QFileInfo>

#include <memory>

namespace lumbro::cli {

using namespace std::chrono_literals;

namespace {

/// Columns of the content that a question shows.
constexpr int longestShown = 60;
constexpr auto longestFiling = 15s;
constexpr auto filingPause = 250ms;

int refuseUsage(Output& output, const QString& sentence) {
    output.fail(sentence);
    output.say(usageLine(*findCommand({u"send"_s}).command));
    return wrongUsage;
}

/// Reads the runs, and says of those that ended with their process.
void loadRuns(ActionRunner& runner, Output& output) {
    const auto tell = [&runner, &output](const QString& id) {
        const auto run = runner.run(id);
        output.say(Output::clean(u"An earlier run has ended with its process: %1"_s.arg(
            run ? run->aboutEnd().value_or(QString()) + u" `lumbro runs show %1` tells more."_s.arg(id)
                : id)));
    };
    const auto telling = QObject::connect(&runner, &ActionRunner::interrupted, &runner, tell);
    runner.load();
    QObject::disconnect(telling);
}

/// What goes where, for the question.
void tell(Output& output, const Connector& connector, const ActionRequest& request) {
    const auto line = [&](const QString& name, const QString& text) {
        output.say(output.styledError(name, Look::dim) + Output::clean(text));
    };
    const QString content = request.content.trimmed();
    line(u"To           "_s, connectorName(connector));
    line(u"Instruction  "_s, request.instruction);
    line(u"From         "_s, request.about);
    line(u"Content      "_s, counted(content.count(u'\n') + 1, u"line"_s, u"lines"_s) + u": "_s +
                                 fitted(Output::clean(content), longestShown));
    if (!actionPrompt::allowsDestructive(request.instruction)) {
        output.say(u"Deleting and archiving are blocked for this run."_s);
    }
}

/// Waits until the run has ended. Ctrl-C stops a run of ours; of another process it ends only the waiting.
Task<ActionRun> follow(Services* services, Output* output, ActionRun run) {
    ActionRunner& runner = services->actionRunner();
    std::unique_ptr<QuitSignals> interrupts;
    if (runner.isOurs(run.id)) {
        interrupts = std::make_unique<QuitSignals>();
        QObject::connect(interrupts.get(), &QuitSignals::quitRequested, &runner,
                         [&runner, output, id = run.id] {
                             output->say(u"Stopping…"_s);
                             runner.stop(id);
                         });
    } else {
        output->say(Output::clean(run.beforeRetry({})));
    }
    FinishSteps steps(*output, services->clock());
    RunWatch watch(runner, steps, run);
    if (watch.run().isLive()) {
        co_await nextSignal(&watch, &RunWatch::ended);
    }
    co_return ActionRun(watch.run());
}

int printRun(Output& output, const Arguments& arguments, const ActionRun& run) {
    if (arguments.wantsJson()) {
        output.printJson(runJson(run));
    } else {
        output.print(runResult(output, run));
        output.say(output.styledError(u"lumbro runs show "_s + Output::clean(run.id), Look::dim));
    }
    const QString problem = runProblem(run);
    return run.status == ActionRun::Status::done
               ? 0
               : output.fail(problem.isEmpty() ? run.title() + u'.' : problem);
}

/// The end of a run of ours is on the disk. Where it can't be written, as on a full disk, it is tried for a
/// while; what is not known afterwards is said.
Task<bool> isFiled(Services* services, Output* output, QString id) {
    ActionRunner& runner = services->actionRunner();
    if (runner.isOurs(id)) {
        output->say(u"The end of this run can't be written to its file; trying again for a while…"_s);
    }
    for (auto waited = 0ms; runner.isOurs(id) && waited < longestFiling; waited += filingPause) {
        co_await services->clock().sleep(filingPause);
    }
    if (runner.isOurs(id)) {
        output->fail(
            u"The end of this run could not be filed; `lumbro runs` will tell of it as interrupted. Keep "
            u"what "
            "stands above."_s);
    }
    co_return !runner.isOurs(id);
}

/// Without a file, a run that is cut off could be sent again unseen.
Result<> checkFolder(const QString& libraryRoot) {
    const ActionFiles files(libraryRoot);
    files.makeFolder();
    const QFileInfo folder(files.folder());
    return folder.isDir() && folder.isWritable()
               ? Result<>()
               : fail(u"Nothing was sent: %1 can't be written, where runs are kept."_s.arg(files.folder()));
}

/// Asks and sends, unless the same is under way: then that is waited for.
Task<int> sendAndWait(Services* services, CommandContext context, Connector connector,
                      ActionRequest request) {
    Output& output = context.output;
    if (const auto writable = checkFolder(services->library().root()); !writable) {
        co_return output.fail(writable.error());
    }
    ActionRunner& runner = services->actionRunner();
    const auto before = runner.latest(connector.id, request.content);
    if (!before || !before->isLive()) {
        QString question = u"Send it to %1?"_s.arg(connector.app);
        const bool saidYes = context.arguments.has("yes");
        if (!saidYes) {
            tell(output, connector, request);
        }
        if (before) {
            question = before->beforeRetry(dates::readable(before->started)) + u" Send it again?"_s;
        }
        const auto refused = co_await refusedOnTerminal(&output, saidYes, question, u"Nothing was sent"_s);
        if (refused) {
            co_return *refused;
        }
    }
    if (connector.status == Connector::Status::needsLogin) {
        output.say(Output::clean(
            u"%1 asks for a login first. Check Claude: Settings → Connectors."_s.arg(connector.app)));
    }
    const auto submitted = runner.submit(connector, request);
    if (!submitted) {
        co_return output.fail(submitted.error());
    }
    const ActionRun run = co_await follow(services, &output, *submitted);
    const int status = printRun(output, context.arguments, run);
    co_return co_await isFiled(services, &output, run.id) ? status : 1;
}

/// Claude Code has told its connectors, and the runs are read.
Task<Result<>> prepare(Services* services, Output* output) {
    if (auto checked = co_await checkConnectors(services, output); !checked) {
        co_return checked;
    }
    loadRuns(services->actionRunner(), *output);
    co_return Result<>();
}

}  // namespace

Task<int> send(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const auto from = arguments.value("from");
    const auto instruction = arguments.value("instruction");
    if (!from || (instruction && instruction->trimmed().isEmpty())) {
        co_return refuseUsage(
            output, from ? u"The instruction is empty."_s
                         : u"Say what to send: --from capture:ID, ask:ID or - for standard input."_s);
    }
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().open();
    const auto content = sendContent(services, *from);
    if (!content) {
        const bool isWrong = content.error().kind == FailureKind::notFound && !from->contains(u':');
        co_return isWrong ? refuseUsage(output, content.error().message) : output.fail(content.error());
    }
    if (const auto prepared = co_await prepare(&services, &output); !prepared) {
        co_return output.fail(prepared.error());
    }
    const auto connector = findConnector(services.connectors().all(), arguments.at(0));
    if (!connector) {
        co_return output.fail(connector.error());
    }
    co_return co_await sendAndWait(&services, context, *connector,
                                   requestFor(*content, *connector, instruction));
}

Task<int> runsRetry(CommandContext context) {
    Output& output = context.output;
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    ActionRunner& runner = services.actionRunner();
    loadRuns(runner, output);
    const auto run = findRun(runner.runs(), context.arguments.at(0));
    if (!run) {
        co_return output.fail(run.error());
    }
    if (const auto checked = co_await checkConnectors(&services, &output); !checked) {
        co_return output.fail(checked.error());
    }
    const auto connector = services.connectors().find(run->connectorID);
    if (!connector) {
        co_return output.fail(
            u"%1 isn't connected any more. Check Claude: Settings → Connectors."_s.arg(run->app));
    }
    co_return co_await sendAndWait(&services, context, *connector, ActionRequest::again(*run));
}

}  // namespace lumbro::cli
