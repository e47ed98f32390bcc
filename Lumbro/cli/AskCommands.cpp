#include "cli/AskCommands.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/AskContext.h"
#include "ask/AskThreads.h"
#include "cli/AskJson.h"
#include "cli/AskText.h"
#include "cli/CaptureLookup.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <QFileInfo>

#include <algorithm>
#include <iterator>

namespace lumbro::cli {

namespace {

/// Whether the sources of answers are to be found, which takes reading the captures and the memory.
enum class Sources { unread, read };

Result<QList<AskThread>> readThreads(Sources sources, QStringList* unreadable = nullptr) {
    const QString root = ContextLibrary::rootFromEnvironment();
    if (const auto usable = checkLibrary(root, LibraryUse::read); !usable) {
        return std::unexpected(usable.error());
    }
    const AskThreads files(root);
    if (sources == Sources::unread) {
        return files.readAll({}, unreadable);
    }
    SystemClock clock;
    const Settings settings;
    ContextLibrary library(root, clock);
    library.reloadCaptures();
    MemoryStore memory(library, clock, settings);
    memory.reload(true);
    return files.readAll(AskContext(clock, settings, library, memory, {}).lookup(), unreadable);
}

QString unreadableText(const QStringList& paths) {
    const QString others = paths.size() == 1 ? QString() : u" and %1 more"_s.arg(paths.size() - 1);
    return u"%1%2: no conversation can be read there; mend it, or move it away."_s.arg(paths.first(), others);
}

Result<AskThread> readThread(Sources sources, const QString& id) {
    QStringList unreadable;
    const auto threads = readThreads(sources, &unreadable);
    if (!threads) {
        return std::unexpected(threads.error());
    }
    auto found = findThread(*threads, id);
    const auto mayBeMeant = [&](const QString& path) {
        const QFileInfo file(path);
        return file.suffix() != u"md" || id == u"last" || file.completeBaseName() == id;
    };
    if (!found) {
        unreadable.removeIf([&](const QString& path) { return !mayBeMeant(path); });
    }
    return found || unreadable.isEmpty() ? found : fail(unreadableText(unreadable));
}

void sayUnreadable(Output& output, const QStringList& paths) {
    if (!paths.isEmpty()) {
        output.fail(unreadableText(paths));
    }
}

}  // namespace

Result<AskThread> findThread(const QList<AskThread>& threads, const QString& id) {
    if (id == u"last") {
        return threads.isEmpty() ? fail(FailureKind::notFound,
                                        u"There are no conversations yet; `lumbro ask "
                                        "QUESTION` begins one."_s)
                                 : Result<AskThread>(threads.first());
    }
    QList<AskThread> found;
    std::ranges::copy_if(threads, std::back_inserter(found),
                         [&](const AskThread& thread) { return !id.isEmpty() && thread.id.startsWith(id); });
    const auto exact = std::ranges::find(found, id, &AskThread::id);
    if (exact != found.end() || found.size() == 1) {
        return exact != found.end() ? *exact : found.first();
    }
    if (found.isEmpty()) {
        return fail(FailureKind::notFound,
                    u"There is no conversation \"%1\"; `lumbro asks` lists them all."_s.arg(id));
    }
    return fail(FailureKind::notFound,
                u"%1 conversations begin with \"%2\", such as %3 and %4; give more of the id."_s.arg(
                    QString::number(found.size()), id, found.at(0).id, found.at(1).id));
}

Task<int> asks(CommandContext context) {
    Output& output = context.output;
    const bool wantsJson = context.arguments.wantsJson();
    QStringList unreadable;
    auto threads = readThreads(wantsJson ? Sources::read : Sources::unread, &unreadable);
    if (!threads) {
        co_return output.fail(threads.error());
    }
    sayUnreadable(output, unreadable);
    const int status = threads->isEmpty() && !unreadable.isEmpty() ? 1 : 0;
    const auto limit = context.arguments.number("limit");
    threads->resize(std::min<qsizetype>(threads->size(), limit.value_or(int(threads->size()))));
    if (wantsJson) {
        QJsonArray array;
        for (const AskThread& thread : std::as_const(*threads)) {
            array += askJson(thread);
        }
        output.printJson(array);
    } else if (!threads->isEmpty()) {
        output.print(askTable(output, *threads));
    } else if (unreadable.isEmpty()) {
        output.say(u"No conversations yet; `lumbro ask QUESTION` begins one."_s);
    }
    co_return status;
}

Task<int> asksShow(CommandContext context) {
    const auto thread = readThread(Sources::read, context.arguments.at(0));
    if (!thread) {
        co_return context.output.fail(thread.error());
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(askJson(*thread));
    } else {
        context.output.print(askText(context.output, *thread));
    }
    co_return 0;
}

Task<int> asksDelete(CommandContext context) {
    const auto thread = readThread(Sources::unread, context.arguments.at(0));
    if (!thread) {
        co_return context.output.fail(thread.error());
    }
    const AskThreads files(ContextLibrary::rootFromEnvironment());
    if (const auto removed = files.remove(*thread); !removed) {
        co_return context.output.fail(removed.error());
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(QJsonObject{{u"deleted"_s, thread->id}});
    } else {
        context.output.printLine(
            Output::clean(u"%1 (\"%2\") is in the Trash."_s.arg(thread->id, thread->title)));
    }
    co_return 0;
}

}  // namespace lumbro::cli
