#include "cli/EngineEditCommands.h"

#include "LumbroCore/AtomicFile.h"
#include "cli/Confirm.h"
#include "cli/EngineCommands.h"
#include "cli/EngineOptions.h"
#include "cli/OpenEngines.h"
#include "engines/EngineDrafts.h"
#include "engines/EngineInbox.h"

#include <QDir>
#include <QFileInfo>

namespace lumbro::cli {

namespace {

QString noEngine(const QString& id) {
    return u"There is no engine \"%1\"; `lumbro engines` lists them all."_s.arg(id);
}

/// The engine, or the file of that name which is none, so that a broken one can be thrown away.
std::optional<Engine> findFile(const ContextLibrary& library, const QString& id) {
    if (const auto engine = library.engine(id)) {
        return engine;
    }
    const QFileInfo file(library.enginesFolder() + u'/' + id + u".md"_s);
    if (id.isEmpty() || id.contains(u'/') || id.startsWith(u'.') || !(file.exists() || file.isSymLink())) {
        return std::nullopt;
    }
    Engine broken;
    broken.id = id;
    broken.name = file.fileName();
    broken.url = file.filePath();
    return broken;
}

}  // namespace

int refuseUsage(Output& output, const QString& sentence, const QString& command) {
    output.fail(sentence);
    output.say(usageLine(*findCommand(command.split(u' ')).command));
    return wrongUsage;
}

void printSaved(const CommandContext& context, const Engine& engine, const QString& libraryRoot) {
    Output& output = context.output;
    if (context.arguments.wantsJson()) {
        output.printJson(engineJson(engine));
    } else {
        output.print(engineSheet(output, engine));
    }
    if (const QString problem = engine.watch ? EngineInbox::problemOf(engine, libraryRoot) : QString();
        !problem.isEmpty()) {
        output.say(output.styledError(u"No file can be taken yet: "_s, Look::bad) + Output::clean(problem) +
                   u'.');
    }
}

Task<int> engineEdit(CommandContext context) {
    Output& output = context.output;
    const QString id = context.arguments.at(0);
    OpenEngines library;
    if (!library.usable()) {
        co_return output.fail(library.usable().error());
    }
    const auto engine = library->engine(id);
    const auto text = engine ? readTextFile(engine->url) : std::nullopt;
    if (!engine || !text) {
        co_return output.fail(noEngine(id));
    }
    if (!EngineOptions::hasAny(context.arguments)) {
        co_return refuseUsage(output,
                              u"Say what to change, such as --model opus, or edit %1."_s.arg(engine->url),
                              u"engine edit"_s);
    }
    EngineDraft draft(*engine, *text);
    const auto applied = EngineOptions::apply(context.arguments, draft);
    const auto prompt = EngineOptions::prompt(context.arguments);
    const auto more = EngineOptions::more(context.arguments);
    if (!applied || !prompt || !more) {
        const Failure& why = !applied ? applied.error() : !prompt ? prompt.error() : more.error();
        co_return refuseUsage(output, why.message, u"engine edit"_s);
    }
    draft.prompt = prompt->value_or(draft.prompt);
    const auto saved = saveDraft(*library, draft, *more, draft.url);
    if (!saved) {
        co_return output.fail(saved.error());
    }
    printSaved(context, *saved, library->root());
    co_return 0;
}

Task<int> engineDelete(CommandContext context) {
    Output& output = context.output;
    const QString id = context.arguments.at(0);
    OpenEngines library;
    if (!library.usable()) {
        co_return output.fail(library.usable().error());
    }
    const auto engine = findFile(*library, id);
    if (!engine) {
        co_return output.fail(noEngine(id));
    }
    const bool isBuiltIn = library->builtInEngineFiles().contains(QFileInfo(engine->url).fileName());
    const auto refused = co_await refusedOnTerminal(
        &output, context.arguments.has("yes"),
        u"Move %1 (%2) to the Trash?%3"_s.arg(
            engine->name, engine->url,
            isBuiltIn ? u" It came with Lumbro and does not come back."_s : QString()),
        u"Nothing was deleted"_s);
    if (refused) {
        co_return *refused;
    }
    if (const auto removed = library->deleteEngine(*engine); !removed) {
        co_return output.fail(removed.error());
    }
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonObject{{u"deleted"_s, id}});
    } else {
        output.printLine(u"%1 is in the Trash."_s.arg(Output::clean(engine->name)));
    }
    co_return 0;
}

}  // namespace lumbro::cli
