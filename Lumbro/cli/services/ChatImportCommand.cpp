#include "cli/services/ChatImportCommand.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Dates.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "chats/SessionImporter.h"
#include "cli/CaptureLookup.h"
#include "cli/Table.h"
#include "cli/services/FinishSteps.h"
#include "library/ContextLibrary.h"
#include "memory/Librarian.h"

#include <QJsonArray>
#include <QJsonObject>

namespace lumbro::cli {

namespace {

using namespace std::chrono_literals;

/// What the librarian could not take in.
struct Misses {
    std::optional<Failure> first;
    bool isCancelled = false;
};

Task<> takeIn(Librarian* librarian, CaptureRecord record, Librarian::Cancel cancel, Misses* misses) {
    if (misses->isCancelled) {
        co_return;
    }
    const auto pass = co_await librarian->run(std::move(record), cancel);
    if (!pass && !misses->first) {
        misses->first = pass.error();
        misses->isCancelled = pass.error().kind == FailureKind::cancelled;
    }
}

void showProgress(Output& output, const ClaudeChatReader::Progress& progress) {
    const qint64 total = progress.bytesTotal;
    if (total > 0) {
        output.show(u"Reading the chats: %1 of %2"_s.arg(
            bytesText(std::min<qint64>(progress.bytesDone, total)), bytesText(total)));
    }
}

QJsonObject reportJson(const SessionImporter::Report& report) {
    return {{u"requests"_s, report.requests},
            {u"projectDays"_s, report.projectDays},
            {u"captures"_s, QJsonArray::fromStringList(report.captures)}};
}

QString reportText(const SessionImporter::Report& report) {
    QString text = u"Imported %1 into %2.\n"_s.arg(counted(report.requests, u"request"_s, u"requests"_s),
                                                   counted(report.projectDays, u"log"_s, u"logs"_s));
    for (const QString& id : report.captures) {
        text += id + u'\n';
    }
    return text;
}

}  // namespace

Task<int> chatsImport(CommandContext context) {
    Output& output = context.output;
    std::optional<QDateTime> since;
    if (const auto text = context.arguments.value("since")) {
        since = dates::fromIso(*text);
        if (!since) {
            output.fail(u"--since takes a date such as 2026-03-02, not \"%1\"."_s.arg(*text));
            co_return wrongUsage;
        }
        if (*since > SystemClock(SystemClock::dateFromEnvironment()).now()) {
            output.fail(u"--since takes a date that has been, not \"%1\"."_s.arg(*text));
            co_return wrongUsage;
        }
    }
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        co_return output.fail(usable.error());
    }
    services.library().open();
    Misses misses;
    const auto cancel = std::make_shared<CancellationHandle>();
    SessionImporter importer(services.clock(), services.settings(), services.library(),
                             [&services, &misses, cancel](CaptureRecord record) {
                                 return takeIn(&services.librarian(), std::move(record), cancel, &misses);
                             });
    Timer timer;
    timer.start(services.clock(), 200ms, Clock::Repeat::always,
                [&output, &importer] { showProgress(output, importer.progress()); });
    const auto report = co_await importer.importNow(true, since, false);
    timer.stop();
    output.clearShown();
    if (!report) {
        co_return output.fail(report.error().message);
    }
    if (context.arguments.has("memorize")) {
        const QuitSignals interrupts;
        QObject::connect(&interrupts, &QuitSignals::quitRequested, &importer, [cancel] { cancel->cancel(); });
        FinishSteps steps(output, services.clock());
        steps.begin(u"Taking the logs into the memory…"_s);
        co_await importer.memorizeNew();
        steps.end();
    }
    if (context.arguments.wantsJson()) {
        output.printJson(reportJson(*report));
    } else {
        output.print(reportText(*report));
    }
    co_return misses.first ? output.fail(misses.first->message) : 0;
}

}  // namespace lumbro::cli
