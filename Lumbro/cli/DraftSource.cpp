#include "cli/DraftSource.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "actions/RemindersExport.h"
#include "actions/formats/EmailDraft.h"
#include "ask/AskContext.h"
#include "ask/AskThreads.h"
#include "ask/formats/AskTarget.h"
#include "cli/AskCommands.h"
#include "cli/CaptureLookup.h"
#include "cli/StandardInput.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <tuple>

#include <unistd.h>

namespace lumbro::cli {

namespace {

constexpr qint64 longestText = qint64(1024) * 1024;
const QString capturePrefix = u"capture:"_s;
const QString askPrefix = u"ask:"_s;

Result<QList<DraftText>> readInput(Output& output) {
    if (isatty(STDIN_FILENO) != 0) {
        output.say(u"Paste the text; Ctrl-D on a line of its own ends it."_s);
    }
    const QByteArray bytes = readStandardInput(longestText).value_or(QByteArray());
    if (bytes.size() > longestText) {
        return fail(u"The text on standard input is longer than 1 MB."_s);
    }
    if (bytes.trimmed().isEmpty()) {
        return fail(u"There is no text on standard input."_s);
    }
    return QList{DraftText{.text = QString::fromUtf8(bytes)}};
}

/// What was made for an application comes first, then in the order of the engines.
QList<DraftText> resultsOf(const ContextLibrary& library, const CaptureRecord& record) {
    struct Ranked {
        std::tuple<bool, int, QString> rank;
        DraftText draft;
    };
    QList<Ranked> results;
    const QMap<QString, QString> texts = library.handoffs(record);
    for (const auto& [id, text] : texts.asKeyValueRange()) {
        const auto engine = library.engine(id);
        const QString app =
            engine && engine->result.kind == EngineResult::Kind::action ? engine->result.app : QString();
        results.append({{app.isEmpty(), engine ? engine->order : std::numeric_limits<qint64>::max(), id},
                        {.text = text, .title = engine ? engine->name : id, .app = app}});
    }
    std::ranges::sort(results, {}, &Ranked::rank);
    QList<DraftText> drafts;
    for (const Ranked& result : std::as_const(results)) {
        drafts.append(result.draft);
    }
    return drafts;
}

Result<QList<DraftText>> readCapture(const QString& id) {
    const auto record = findCapture(capturesFolder(), id);
    if (!record) {
        return std::unexpected(record.error());
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    ContextLibrary library(ContextLibrary::rootFromEnvironment(), clock);
    library.reloadEngines(true);
    QList<DraftText> drafts = resultsOf(library, *record);
    if (const QString notes = library.notes(*record); !notes.trimmed().isEmpty()) {
        drafts.append(DraftText{.text = notes});
    }
    if (drafts.isEmpty()) {
        return fail(u"%1 has no results and no notes yet; `lumbro engine-run ENGINE %1` makes some."_s.arg(
            record->id()));
    }
    for (DraftText& draft : drafts) {
        draft.madeOn = record->meta.startedAt.toLocalTime().date();
        draft.taskNote = remindersExport::note(record->meta);
        draft.eventNote = u"Booked by Lumbro after: "_s + record->meta.title;
        draft.recipients = record->meta.attendeeEmails.value_or(QStringList());
    }
    return drafts;
}

QStringList addresses(const MemoryStore& memory, const AskTurn& turn) {
    QStringList found;
    for (const AskSource& source : turn.sources) {
        const bool isPerson = source.item.kind == SidebarItem::Kind::person;
        if (const auto email = isPerson ? memory.email(source.item.id, source.title) : std::nullopt) {
            found.append(*email);
        }
    }
    return found;
}

Result<QList<DraftText>> readThread(const QString& id) {
    const QString root = ContextLibrary::rootFromEnvironment();
    if (const auto usable = checkLibrary(root, LibraryUse::read); !usable) {
        return std::unexpected(usable.error());
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    const Settings settings;
    ContextLibrary library(root, clock);
    library.reloadCaptures();
    MemoryStore memory(library, clock, settings);
    memory.reload(true);
    const AskContext context(clock, settings, library, memory, {});
    const auto thread = findThread(AskThreads(root).readAll(context.lookup()), id);
    if (!thread) {
        return std::unexpected(thread.error());
    }
    QList<DraftText> drafts;
    for (const AskTurn& turn : thread->turns) {
        drafts.prepend({.text = turn.answer,
                        .app = turn.action.value_or(QString()),
                        .madeOn = turn.date.toLocalTime().date(),
                        .taskNote = u"From Ask Lumbro: "_s + turn.question,
                        .eventNote = u"Booked by Lumbro: "_s + turn.question,
                        .recipients = addresses(memory, turn)});
    }
    if (drafts.isEmpty()) {
        return fail(u"The conversation %1 has no answer yet."_s.arg(thread->id));
    }
    return drafts;
}

}  // namespace

bool DraftText::isMail() const {
    const auto target = AskTarget::forAction(app, {});
    return (target && target->kind == AskTarget::Kind::mail) || EmailDraft::looksLikeEmail(title, text);
}

std::expected<QList<DraftText>, int> draftsFor(const CommandContext& context, const QString& command) {
    Output& output = context.output;
    const QString from = context.arguments.value("from").value_or(QString());
    const bool isAsk = from.startsWith(askPrefix);
    if (from != u"-" && !isAsk && !from.startsWith(capturePrefix)) {
        output.fail(
            from.isEmpty()
                ? u"There is nothing to take it from; give --from capture:ID, --from ask:ID, or --from - "
                  u"for standard input."_s
                : u"--from takes capture:ID, ask:ID or -, not \"%1\"."_s.arg(from));
        output.say(usageLine(*findCommand(command.split(u' ')).command));
        return std::unexpected(wrongUsage);
    }
    const auto texts = from == u"-" ? readInput(output)
                       : isAsk      ? readThread(from.sliced(askPrefix.size()))
                                    : readCapture(from.sliced(capturePrefix.size()));
    if (!texts) {
        return std::unexpected(output.fail(texts.error()));
    }
    return *texts;
}

std::optional<std::pair<EventDraft, QString>> firstEvent(const QList<DraftText>& texts) {
    for (const DraftText& text : texts) {
        if (const auto draft = EventDraft::parse(text.text)) {
            return std::pair(*draft, text.eventNote);
        }
    }
    return std::nullopt;
}

}  // namespace lumbro::cli
