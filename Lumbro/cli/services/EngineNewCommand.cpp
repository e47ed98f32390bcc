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

/// What the command line asks for.
struct Wanted {
    /// What the engine should do; nothing to ask no agent.
    std::optional<QString> wish;
    std::optional<QString> prompt;
    QList<EngineField> more;
};

Result<Wanted> read(const Arguments& arguments) {
    Wanted wanted;
    if (!arguments.positionals().isEmpty()) {
        const auto wish = argumentText(arguments.at(0));
        if (!wish || wish->trimmed().isEmpty()) {
            return wish ? fail(u"Say what the engine should do."_s) : std::unexpected(wish.error());
        }
        wanted.wish = *wish;
    }
    const auto prompt = EngineOptions::prompt(arguments);
    const auto more = EngineOptions::more(arguments);
    if (!prompt || !more) {
        return std::unexpected(prompt ? more.error() : prompt.error());
    }
    wanted.prompt = *prompt;
    wanted.more = *more;
    return wanted;
}

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
    const auto wanted = read(arguments);
    if (!wanted) {
        co_return refuseUsage(output, wanted.error().message, u"engine new"_s);
    }
    Services services;
    ContextLibrary& library = services.library();
    if (const auto usable = checkLibrary(library.root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    library.openEngines();
    EngineDrafts drafts(library, services.agent());
    Result<EngineDraft> draft = drafts.blank();
    // Wrong options are told before the agent is asked.
    auto applied = EngineOptions::apply(arguments, *draft);
    if (applied && wanted->wish) {
        draft = co_await ask(&output, &services, *wanted->wish);
        if (!draft) {
            co_return output.fail(draft.error());
        }
        applied = EngineOptions::apply(arguments, *draft);
    } else if (EngineOptions::hasAny(arguments) && !arguments.has("description")) {
        draft->description.clear();
    }
    if (!applied) {
        co_return refuseUsage(output, applied.error().message, u"engine new"_s);
    }
    draft->prompt = wanted->prompt.value_or(draft->prompt);
    const auto saved = drafts.create(*draft, wanted->more);
    if (!saved) {
        co_return output.fail(saved.error());
    }
    printSaved(context, *saved, library.root());
    co_return 0;
}

}  // namespace lumbro::cli
