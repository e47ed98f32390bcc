#include "cli/services/EngineRunCommand.h"

#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/services/FinishSteps.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"

#include <QJsonObject>

namespace lumbro::cli {

Task<int> engineRun(CommandContext context) {
    Output& output = context.output;
    const auto record = findCapture(capturesFolder(), context.arguments.at(1));
    if (!record) {
        co_return output.fail(record.error());
    }
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().open();
    const auto engine = services.library().engine(context.arguments.at(0));
    if (!engine) {
        co_return output.fail(
            u"There is no engine \"%1\"; `lumbro engines` lists them all."_s.arg(context.arguments.at(0)));
    }
    if (const auto readable = EngineRuns::checkTranscript(*record); !readable) {
        co_return output.fail(readable.error());
    }
    AppModel& model = services.model();
    const QString captureID = record->id();
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &model,
                     [&model, captureID, engineID = engine->id] {
                         model.runs().cancelRun(captureID, engineID);
                         model.naming().cancelAll();
                     });
    FinishSteps steps(output, services.clock());
    steps.begin(
        u"Running %1 on \"%2\"…"_s.arg(Output::clean(engine->name), Output::clean(record->meta.title)));
    const auto text =
        co_await model.runs().runEngine(*engine, captureID, context.arguments.value("focus"), false);
    co_await model.finished();
    steps.end();
    if (!text) {
        const bool cancelled = text.error().kind == FailureKind::cancelled;
        co_return cancelled ? output.fail(u"The run was cancelled; nothing was written."_s)
                            : output.fail(text.error());
    }
    const QString path = record->path(u"handoffs/%1.md"_s.arg(engine->id));
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonObject{
            {u"engine"_s, engine->id}, {u"capture"_s, captureID}, {u"text"_s, *text}, {u"path"_s, path}});
    } else {
        output.printLine(Output::cleanLines(*text));
        output.say(output.styledError(path, Look::dim));
    }
    co_return 0;
}

}  // namespace lumbro::cli
