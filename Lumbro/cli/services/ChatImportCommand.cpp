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
            {u"captures"_s, QJsonArray::fromStringList(report.captures)},
            {u"unreadable"_s, report.unreadable.size()}};
}

/// Status 1 when nothing at all was imported for that.
int sayUnreadable(Output& output, const SessionImporter::Report& report) {
    const QStringList& paths = report.unreadable;
    if (paths.isEmpty()) {
        return 0;
    }
    output.fail(Output::clean(
        paths.size() == 1
            ? u"1 transcript or folder of chats can't be read, %1; make it readable and run this again."_s
                  .arg(paths.first())
            : u"%1 transcripts or folders of chats can't be read, %2 among them; make them readable and run "
              u"this again."_s.arg(QString::number(paths.size()), paths.first())));
    return report.captures.isEmpty() ? 1 : 0;
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
        co_return output.fail(report.error());
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
    const int status = sayUnreadable(output, *report);
    co_return misses.first ? output.fail(*misses.first) : status;
}

}  // namespace lumbro::cli
