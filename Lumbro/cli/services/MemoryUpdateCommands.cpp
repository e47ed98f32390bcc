#include "cli/services/MemoryUpdateCommands.h"

#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/Table.h"
#include "cli/services/FinishSteps.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"
#include "memory/Librarian.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace lumbro::cli {

namespace {

QString quoted(const CaptureRecord& record) {
    return u"\"%1\""_s.arg(Output::clean(record.meta.title));
}

/// What came into the memory, in numbers above 0.
QString passText(const MemoryPass& pass) {
    QStringList parts;
    const auto add = [&parts](qsizetype count, const QString& one, const QString& many) {
        parts += count > 0 ? QStringList(counted(count, one, many)) : QStringList();
    };
    add(pass.people, u"person"_s, u"people"_s);
    add(pass.projects, u"project"_s, u"projects"_s);
    add(pass.promises, u"promise"_s, u"promises"_s);
    add(pass.closedPromises, u"promise kept"_s, u"promises kept"_s);
    add(pass.ideas, u"idea"_s, u"ideas"_s);
    return parts.isEmpty() ? u"nothing new to remember"_s : parts.join(u", "_s);
}

QJsonObject passJson(const MemoryPass& pass) {
    return {{u"capture"_s, pass.captureID}, {u"updated"_s, pass.updated},
            {u"people"_s, pass.people},     {u"projects"_s, pass.projects},
            {u"promises"_s, pass.promises}, {u"closedPromises"_s, pass.closedPromises},
            {u"ideas"_s, pass.ideas}};
}

QJsonArray catchUpJson(const MemoryCatchUp& result) {
    QJsonArray array;
    for (const MemoryPass& pass : result.passes) {
        array += passJson(pass);
    }
    for (const MemoryCatchUp::Miss& miss : result.misses) {
        array += QJsonObject{
            {u"capture"_s, miss.captureID}, {u"updated"_s, false}, {u"error"_s, miss.failure.message}};
    }
    for (const QString& id : result.elsewhere) {
        array += QJsonObject{{u"capture"_s, id}, {u"updated"_s, false}, {u"elsewhere"_s, true}};
    }
    return array;
}

/// The library, opened to be changed, and what ends the agent at Ctrl-C.
class MemoryRun {
  public:
    explicit MemoryRun(Output& output) : m_steps(output, m_services.clock()) {
        QObject::connect(&m_interrupts, &QuitSignals::quitRequested, &m_interrupts,
                         [handle = m_cancel] { handle->cancel(); });
    }

    Result<> open() {
        const auto usable = checkLibrary(m_services.library().root(), LibraryUse::write);
        if (usable) {
            m_services.library().open();
        }
        return usable;
    }
    const ContextLibrary& library() { return m_services.library(); }
    Librarian& librarian() { return m_services.librarian(); }
    FinishSteps& steps() { return m_steps; }
    const Librarian::Cancel& cancel() const { return m_cancel; }

  private:
    Services m_services;
    QuitSignals m_interrupts;
    FinishSteps m_steps;
    Librarian::Cancel m_cancel = std::make_shared<CancellationHandle>();
};

/// Why the agent is not asked about this capture; empty when it is.
QString refusal(const CaptureRecord& record) {
    if (record.meta.kind == CaptureKind::prep) {
        return u"%1 is a brief that was written for you; there is nothing new in it."_s.arg(record.id());
    }
    if (!record.meta.endedAt) {
        return u"%1 has not ended; stop the recording first."_s.arg(record.id());
    }
    return {};
}

QString nothingNew(const CaptureRecord& record) {
    return record.meta.kind == CaptureKind::session
               ? u"Everything in %1 has been read already."_s.arg(quoted(record))
               : u"%1 holds too few words to be taken in."_s.arg(quoted(record));
}

/// Why there is nothing to catch up on.
QString nothingToRead(const ContextLibrary& library) {
    if (library.captures().isEmpty()) {
        return u"There are no captures yet; `lumbro record` makes one."_s;
    }
    const bool isAnyRead = std::ranges::any_of(
        library.captures(), [](const CaptureRecord& record) { return record.meta.memorizedAt.has_value(); });
    return isAnyRead ? u"Every capture has been read already."_s
                     : u"No capture is to be read: recordings under way, briefs and logs of chats are left "
                       "out; `lumbro chats import --memorize` reads the logs."_s;
}

void sayMisses(Output& output, const MemoryCatchUp& result) {
    for (const MemoryCatchUp::Miss& miss : result.misses) {
        Failure failure = miss.failure;
        if (!failure.message.contains(miss.captureID)) {
            failure.message.prepend(miss.captureID + u": "_s);
        }
        output.fail(failure);
    }
}

/// Captures of which nobody can tell whether they were read.
QList<MemoryCatchUp::Miss> unreadable(const QString& capturesFolder) {
    QList<MemoryCatchUp::Miss> misses;
    const QStringList broken = scanCaptures(capturesFolder).broken;
    for (const QString& path : broken) {
        const QString id = QFileInfo(path).dir().dirName();
        if (const auto found = findCapture(capturesFolder, id); !found) {
            misses += {id, found.error()};
        }
    }
    return misses;
}

void sayCatchUp(Output& output, const MemoryCatchUp& result, qsizetype count) {
    const auto updated = std::ranges::count(result.passes, true, &MemoryPass::updated);
    output.printLine(u"%1 of %2 taken in."_s.arg(updated).arg(counted(count, u"capture"_s, u"captures"_s)));
    if (const auto tooShort = result.passes.size() - updated; tooShort > 0) {
        output.say(u"%1 too few words to be taken in."_s.arg(
            counted(tooShort, u"capture holds"_s, u"captures hold"_s)));
    }
    if (!result.elsewhere.isEmpty()) {
        output.say(u"%1 left to another process that was reading it."_s.arg(
            counted(result.elsewhere.size(), u"capture was"_s, u"captures were each"_s)));
    }
}

}  // namespace

Task<int> memoryUpdate(CommandContext context) {
    Output& output = context.output;
    const auto record = findCapture(capturesFolder(), context.arguments.at(0));
    if (!record) {
        co_return output.fail(record.error());
    }
    if (const QString reason = refusal(*record); !reason.isEmpty()) {
        co_return output.fail(reason);
    }
    MemoryRun run(output);
    if (const auto opened = run.open(); !opened) {
        co_return output.fail(opened.error());
    }
    run.steps().begin(u"Reading %1 into the memory…"_s.arg(quoted(*record)));
    const auto pass = co_await run.librarian().run(*record, run.cancel(), Librarian::Again::yes);
    run.steps().end();
    if (!pass) {
        const bool cancelled = pass.error().kind == FailureKind::cancelled;
        co_return cancelled ? output.fail(u"The run was cancelled; nothing was changed."_s)
                            : output.fail(pass.error());
    }
    if (pass->isElsewhere) {
        co_return output.fail(
            u"Another process is reading %1 into the memory just now; wait until it is done."_s.arg(
                quoted(*record)));
    }
    if (context.arguments.wantsJson()) {
        output.printJson(passJson(*pass));
    } else if (pass->updated) {
        output.printLine(u"%1: %2."_s.arg(quoted(*record), passText(*pass)));
    } else {
        output.say(nothingNew(*record));
    }
    co_return 0;
}

Task<int> memoryCatchUp(CommandContext context) {
    Output& output = context.output;
    MemoryRun run(output);
    if (const auto opened = run.open(); !opened) {
        co_return output.fail(opened.error());
    }
    Librarian& librarian = run.librarian();
    const qsizetype count = librarian.unread().size();
    qsizetype begun = 0;
    MemoryCatchUp result = co_await librarian.catchUp(
        [&](const CaptureRecord& record) {
            run.steps().begin(u"Reading %1 of %2, %3…"_s.arg(++begun).arg(count).arg(quoted(record)));
        },
        run.cancel());
    run.steps().end();
    result.misses += unreadable(run.library().capturesFolder());
    if (context.arguments.wantsJson()) {
        output.printJson(catchUpJson(result));
    } else if (count > 0) {
        sayCatchUp(output, result, count);
    } else if (result.misses.isEmpty()) {
        output.say(nothingToRead(run.library()));
    }
    sayMisses(output, result);
    co_return result.misses.isEmpty() ? 0 : 1;
}

}  // namespace lumbro::cli
