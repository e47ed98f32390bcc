#include "cli/services/InboxScanCommand.h"

#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/InboxCommand.h"
#include "cli/Table.h"
#include "cli/services/FinishSteps.h"
#include "engines/EngineInbox.h"
#include "library/ContextLibrary.h"

#include <QJsonArray>

#include <algorithm>

namespace lumbro::cli {

namespace {

void printRuns(Output& output, const QList<InboxRun>& runs) {
    if (runs.isEmpty()) {
        output.say(u"There is nothing in the watched folders."_s);
        return;
    }
    printInbox(output, runs);
    for (const InboxRun& run : runs) {
        if (!run.reply.isEmpty()) {
            output.say(u"The answer about %1 could not be filed:"_s.arg(Output::clean(run.file)));
            output.print(u'\n' + Output::cleanLines(run.reply) + u'\n');
        }
    }
}

}  // namespace

Task<int> inboxScan(CommandContext context) {
    Output& output = context.output;
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().openEngines();
    if (EngineInbox::watching(services.library()).isEmpty()) {
        if (context.arguments.wantsJson()) {
            output.printJson(QJsonArray());
        }
        output.say(
            u"No engine watches a folder; `lumbro engine edit ENGINE --watch FOLDER` lets one do so."_s);
        co_return 0;
    }
    EngineInbox& inbox = services.engineInbox();
    const auto cancel = std::make_shared<CancellationHandle>();
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &inbox, [cancel] { cancel->cancel(); });
    FinishSteps steps(output, services.clock());
    QObject::connect(&inbox, &EngineInbox::began, &inbox,
                     [&steps](const QString& engine, const QString& file) {
                         steps.begin(u"%1 works on %2…"_s.arg(Output::clean(engine), Output::clean(file)));
                     });
    QObject::connect(&inbox, &EngineInbox::waitsForTurn, &inbox, [&steps](const QString& engine) {
        steps.begin(u"Another Lumbro works for %1; waiting for its end…"_s.arg(Output::clean(engine)));
    });
    inbox.markInterrupted();
    const QList<InboxRun> runs = co_await inbox.workThrough(cancel);
    steps.end();
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const InboxRun& run : runs) {
            array += inboxJson(run);
        }
        output.printJson(array);
    } else {
        printRuns(output, runs);
    }
    const bool failed =
        std::ranges::any_of(runs, [](const InboxRun& run) { return run.state == InboxRun::State::failed; });
    co_return failed || cancel->isCancelled ? 1 : 0;
}

}  // namespace lumbro::cli
