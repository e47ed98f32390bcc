#include "cli/services/EngineNewCommand.h"

#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/EngineEditCommands.h"
#include "cli/EngineOptions.h"
#include "cli/services/FinishSteps.h"
#include "engines/EngineDrafts.h"
#include "library/ContextLibrary.h"

namespace lumbro::cli {

namespace {

/// Has the agent write the engine; Ctrl-C ends that.
Task<Result<EngineDraft>> ask(Output* output, Services* services, QString wish) {
    const auto cancel = std::make_shared<CancellationHandle>();
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &interrupts, [cancel] { cancel->cancel(); });
    FinishSteps steps(*output, services->clock());
    steps.begin(u"The agent writes the engine…"_s);
    EngineDrafts drafts(services->library(), services->agent());
    Result<EngineDraft> draft = co_await drafts.fromWish(std::move(wish), cancel);
    steps.end();
    if (!draft && draft.error().kind == FailureKind::cancelled) {
        co_return fail(FailureKind::cancelled, u"The run was cancelled; nothing was written."_s);
    }
    co_return std::move(draft);
}

}  // namespace

Task<int> engineNew(CommandContext context) {
    Output& output = context.output;
    const Arguments& arguments = context.arguments;
    const bool hasWish = !arguments.positionals().isEmpty();
    const auto wish = hasWish ? argumentText(arguments.at(0)) : Result<QString>(QString());
    const auto more = EngineOptions::more(arguments);
    if (!wish || !more || (hasWish && wish->trimmed().isEmpty())) {
        const QString why = !wish   ? wish.error().message
                            : !more ? more.error().message
                                    : u"Say what the engine should do."_s;
        co_return refuseUsage(output, why, u"engine new"_s);
    }
    Services services;
    ContextLibrary& library = services.library();
    if (const auto usable = checkLibrary(library.root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    library.openEngines();
    EngineDrafts drafts(library, services.agent());
    EngineDraft draft = drafts.blank();
    // Wrong options are told before the agent is asked.
    if (const auto applied = EngineOptions::apply(arguments, draft); !applied) {
        co_return refuseUsage(output, applied.error().message, u"engine new"_s);
    }
    if (hasWish) {
        auto written = co_await ask(&output, &services, *wish);
        if (!written) {
            co_return output.fail(written.error());
        }
        const QString prompt = draft.prompt;
        draft = std::move(*written);
        [[maybe_unused]] const auto applied = EngineOptions::apply(arguments, draft);
        draft.prompt = arguments.has("prompt") ? prompt : draft.prompt;
    } else if (EngineOptions::hasAny(arguments) && !arguments.has("description")) {
        draft.description.clear();
    }
    const auto saved = drafts.create(draft, *more);
    if (!saved) {
        co_return output.fail(saved.error());
    }
    printSaved(context, *saved, library.root());
    co_return 0;
}

}  // namespace lumbro::cli
