#include "cli/RunCommands.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/LockedUpdate.h"
#include "actions/ActionFiles.h"
#include "actions/ActionLinks.h"
#include "cli/CaptureLookup.h"
#include "cli/RunText.h"
#include "library/ContextLibrary.h"
#include "platform/linux/desktop/DesktopLinks.h"

#include <algorithm>
#include <iterator>

namespace lumbro::cli {

using namespace std::chrono_literals;

namespace {

/// A process that works on runs looks every second whether one is to stop.
constexpr auto longestHearing = 5s;
/// An agent may take ten seconds over the request to end.
constexpr auto longestStop = 15s;
constexpr auto stopPause = 100ms;

Result<QList<ActionRun>> readRuns() {
    const QString root = ContextLibrary::rootFromEnvironment();
    const auto usable = checkLibrary(root, LibraryUse::read);
    return usable ? Result<QList<ActionRun>>(ActionFiles(root).readSettled())
                  : std::unexpected(usable.error());
}

Result<ActionRun> readRun(const QString& id) {
    const auto runs = readRuns();
    return runs ? findRun(*runs, id) : std::unexpected(runs.error());
}

int print(CommandContext& context, const ActionRun& run, const QString& text) {
    if (context.arguments.wantsJson()) {
        context.output.printJson(runJson(run));
    } else {
        context.output.print(text);
    }
    return 0;
}

/// Waits a while for the end of a run of another process. The request to stop stays until it has ended.
Task<ActionRun> ended(ActionFiles files, ActionRun run) {
    SystemClock clock;
    const auto bound = [&] { return files.isAskedToStop(run.id) ? longestHearing : longestStop; };
    for (auto waited = 0ms; run.isLive() && waited < bound(); waited += stopPause) {
        co_await clock.sleep(stopPause);
        const FolderLock lock(files.folder());
        run = files.settled(run);
    }
    if (!run.isLive()) {
        files.forgetStop(run.id);
    }
    co_return ActionRun(run);
}

}  // namespace

Result<ActionRun> findRun(const QList<ActionRun>& runs, const QString& id) {
    if (id == u"last" && !runs.isEmpty()) {
        return runs.first();
    }
    QList<ActionRun> found;
    std::ranges::copy_if(runs, std::back_inserter(found),
                         [&](const ActionRun& run) { return !id.isEmpty() && run.id.startsWith(id); });
    const auto exact = std::ranges::find(found, id, &ActionRun::id);
    if (exact != found.end() || found.size() == 1) {
        return exact != found.end() ? *exact : found.first();
    }
    if (found.isEmpty()) {
        return fail(FailureKind::notFound,
                    u"There is no run \"%1\"; `lumbro runs` lists them all."_s.arg(id));
    }
    return fail(FailureKind::notFound,
                u"%1 runs begin with \"%2\", such as %3 and %4; give more of the id."_s.arg(
                    QString::number(found.size()), id, found.at(0).id, found.at(1).id));
}

Task<int> runs(CommandContext context) {
    Output& output = context.output;
    auto runs = readRuns();
    if (!runs) {
        co_return output.fail(runs.error());
    }
    const auto limit = context.arguments.number("limit");
    runs->resize(std::min<qsizetype>(runs->size(), limit.value_or(int(runs->size()))));
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const ActionRun& run : std::as_const(*runs)) {
            array += runJson(run);
        }
        output.printJson(array);
    } else if (runs->isEmpty()) {
        output.say(u"Nothing was sent yet; `lumbro send --help` shows how."_s);
    } else {
        output.print(runTable(output, *runs));
    }
    co_return 0;
}

Task<int> runsShow(CommandContext context) {
    const auto run = readRun(context.arguments.at(0));
    co_return run ? print(context, *run, runText(context.output, *run)) : context.output.fail(run.error());
}

Task<int> runsStop(CommandContext context) {
    Output& output = context.output;
    auto run = readRun(context.arguments.at(0));
    if (!run) {
        co_return output.fail(run.error());
    }
    if (!run->isLive()) {
        co_return output.fail(u"It isn't under way any more: %1."_s.arg(run->title()));
    }
    const ActionFiles files(ContextLibrary::rootFromEnvironment());
    if (const auto asked = files.askToStop(run->id); !asked) {
        co_return output.fail(asked.error());
    }
    output.show(u"Stopping…"_s);
    run = co_await ended(files, *run);
    output.clearShown();
    if (run->isLive()) {
        const QString known =
            files.isAskedToStop(run->id)
                ? u"The process that works on it has not answered yet; it stops once it does"_s
                : u"Its process has heard of it and waits for the agent to end"_s;
        co_return output.fail(known + u". `lumbro runs show %1` tells how it ended."_s.arg(run->id));
    }
    print(context, *run, runResult(output, *run));
    if (run->status == ActionRun::Status::stopped) {
        output.say(Output::clean(runProblem(*run)));
        co_return 0;
    }
    co_return output.fail(u"It had ended before it could be stopped."_s);
}

Task<int> runsOpen(CommandContext context) {
    Output& output = context.output;
    const auto run = readRun(context.arguments.at(0));
    if (!run) {
        co_return output.fail(run.error());
    }
    const ActionLinks links(desktopLinks::open, desktopLinks::hasHandler);
    const auto url = links.link(*run);
    if (!url) {
        co_return output.fail(
            u"%1 has no link on the web, and %2 is no app with a known home page."_s.arg(run->id, run->app));
    }
    const QString address = QString::fromLatin1(url->toEncoded());
    const bool isOpened = desktopLinks::open(*url);
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonObject{{u"url"_s, address}, {u"opened"_s, isOpened}});
    } else {
        output.printLine(Output::clean(address));
    }
    co_return isOpened ? 0 : output.fail(u"There is no desktop here to open the link on."_s);
}

}  // namespace lumbro::cli
