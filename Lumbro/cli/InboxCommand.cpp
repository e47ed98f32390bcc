#include "cli/InboxCommand.h"

#include "cli/OpenEngines.h"
#include "cli/Table.h"
#include "engines/EngineInbox.h"
#include "engines/formats/EngineApps.h"

#include <QJsonArray>

#include <algorithm>

namespace lumbro::cli {

namespace {

constexpr int usualLimit = 20;

QList<InboxRun> waiting(const Engine& engine, const QDateTime& now) {
    QList<InboxRun> found;
    const auto files = EngineInbox::folderOf(engine).files(now);
    for (const WaitingFile& file : files.value_or(QList<WaitingFile>())) {
        found += InboxRun{.engine = engine.id,
                          .file = file.name,
                          .message = file.isSettled ? QString() : u"changed within the last 5 seconds"_s};
    }
    return found;
}

/// The runs of all engines, also of those that are gone, newest first.
QList<InboxRun> allRuns(const QString& root) {
    QList<InboxRun> found;
    for (const QString& id : InboxFolder::engines(root)) {
        found += InboxFolder(root, id).runs();
    }
    std::ranges::stable_sort(found, std::ranges::greater(), &InboxRun::run);
    return found;
}

void printFolders(Output& output, const QList<Engine>& engines, const QString& root) {
    QList<QStringList> rows;
    for (const Engine& engine : engines) {
        const QString problem = EngineInbox::problemOf(engine, root);
        rows += {Output::clean(engine.id), Output::clean(EngineApps::tilde(engine.watch.value_or(QString()))),
                 problem.isEmpty() ? u"watched"_s : u"not watched"_s};
        if (!problem.isEmpty()) {
            output.say(output.styledError(Output::clean(engine.id) + u": "_s, Look::bad) +
                       Output::clean(problem));
        }
    }
    if (rows.isEmpty()) {
        output.say(
            u"No engine watches a folder; `lumbro engine edit ENGINE --watch FOLDER` lets one do so."_s);
    } else {
        output.print(table(
            output, {{u"ENGINE"_s, false, false, Look::accent}, {u"FOLDER"_s, false, true}, {u""_s}}, rows));
    }
}

}  // namespace

QJsonObject inboxJson(const InboxRun& run) {
    QJsonObject json{{u"engine"_s, run.engine}, {u"state"_s, rawValue(run.state)}};
    const auto add = [&json](const QString& key, const QString& value) {
        if (!value.isEmpty()) {
            json.insert(key, value);
        }
    };
    add(u"file"_s, run.file);
    add(u"run"_s, run.run);
    add(u"message"_s, run.message);
    add(u"folder"_s, run.folder);
    add(u"reply"_s, run.reply);
    return json;
}

void printInbox(Output& output, QList<InboxRun> runs) {
    qsizetype waitingRuns = 0;
    runs.removeIf([&waitingRuns](const InboxRun& run) {
        return run.state == InboxRun::State::waiting && ++waitingRuns > usualLimit;
    });
    QList<QStringList> rows;
    for (const InboxRun& run : std::as_const(runs)) {
        rows += {Output::clean(run.engine), Output::clean(run.file), rawValue(run.state),
                 Output::clean(run.message), Output::clean(run.run)};
    }
    output.print(table(output,
                       {{u"ENGINE"_s, false, false, Look::accent},
                        {u"FILE"_s, false, true, Look::bold},
                        {u"STATE"_s},
                        {u"WHAT CAME OF IT"_s, false, true},
                        {u"RUN"_s, false, false, Look::dim}},
                       rows));
    if (waitingRuns > usualLimit) {
        output.say(counted(waitingRuns - usualLimit, u"more file waits."_s, u"more files wait."_s));
    }
}

Task<int> inboxList(CommandContext context) {
    Output& output = context.output;
    OpenEngines library;
    if (!library.usable()) {
        co_return output.fail(library.usable().error());
    }
    const QList<Engine> engines = EngineInbox::watching(*library);
    QList<InboxRun> shown;
    for (const Engine& engine : engines) {
        shown += waiting(engine, library.clock().now());
    }
    const bool wantsJson = context.arguments.wantsJson();
    const QList<InboxRun> runs = allRuns(library->root());
    const auto limit = context.arguments.number("limit");
    shown +=
        runs.first(std::min<qsizetype>(runs.size(), limit.value_or(wantsJson ? runs.size() : usualLimit)));
    if (wantsJson) {
        QJsonArray array;
        for (const InboxRun& run : std::as_const(shown)) {
            array += inboxJson(run);
        }
        output.printJson(array);
        co_return 0;
    }
    printFolders(output, engines, library->root());
    if (!shown.isEmpty()) {
        output.printLine();
        printInbox(output, shown);
    }
    co_return 0;
}

}  // namespace lumbro::cli
