#include "memory/Librarian.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/LockFile.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"
#include "chats/formats/Redact.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "memory/LibrarianInput.h"
#include "memory/MemoryStore.h"
#include "memory/formats/LibrarianPrompt.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

constexpr int attempts = 2;
const QString keptNote =
    u" The agent's answer is kept, and the next pass takes it in without asking again."_s;
constexpr qsizetype promisesOfSession = 2;
constexpr qsizetype ideasOfSession = 1;

bool isProjectOf(const LibrarianOps::Entity& entity, const QList<MemoryEntity>& projects) {
    return std::ranges::any_of(projects, [&](const MemoryEntity& project) {
        return comparable(entity.slug.value_or(QString())) == comparable(project.id) ||
               comparable(entity.name) == comparable(project.name);
    });
}

/// The next capture would meet the same failure.
bool concernsAgent(const Failure& failure) {
    return failure.kind == FailureKind::notInstalled || failure.kind == FailureKind::notLoggedIn ||
           failure.kind == FailureKind::limit || failure.kind == FailureKind::cancelled;
}

/// The capture as it is now: the application and commands change it beside each other.
std::optional<CaptureRecord> fresh(const CaptureRecord& record) {
    const auto meta = captureFiles::meta(record);
    return meta ? std::optional(CaptureRecord{record.folder, *meta}) : std::nullopt;
}

}  // namespace

/// What is to be done about a capture: what the model is to read, or what it has replied already.
struct Librarian::Work {
    CaptureRecord record;
    LibrarianInput input;
    std::optional<KeptReply> reply;
};

/// A pass that waits for the model: the store says so, and the capture is nobody else's to catch up on.
class Librarian::Busy {
  public:
    Busy(Librarian& librarian, QString captureID, Cancel cancel)
        : m_librarian(&librarian), m_captureID(std::move(captureID)), m_cancel(std::move(cancel)) {
        librarian.m_reading.insert(m_captureID, m_cancel);
        librarian.m_memory.setStatus(u"Updating memory…"_s);
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() {
        if (!m_librarian) {
            return;
        }
        m_librarian->m_reading.remove(m_captureID, m_cancel);
        if (m_librarian->m_reading.isEmpty()) {
            m_librarian->m_memory.setStatus({});
        }
    }

  private:
    QPointer<Librarian> m_librarian;
    QString m_captureID;
    Cancel m_cancel;
};

Librarian::Librarian(ContextLibrary& library, MemoryStore& memory, AgentProvider& agent, Clock& clock)
    : m_library(library), m_memory(memory), m_agent(agent), m_clock(clock) {}

Librarian::~Librarian() = default;

std::optional<Librarian::Work> Librarian::workOn(const CaptureRecord& listed, Again again) {
    const CaptureRecord record = fresh(listed).value_or(listed);
    const bool isSession = record.meta.kind == CaptureKind::session;
    if (record.meta.memorizedAt && again == Again::no && !isSession) {
        return std::nullopt;
    }
    auto reply = KeptReply::of(record);
    if (reply && LibrarianOps::decode(reply->text)) {
        return Work{record, {}, std::move(reply)};
    }
    const LibrarianInput input = LibrarianInput::of(record, m_library);
    if (input.text.isEmpty() && input.brokenFile.isEmpty()) {
        if (input.through) {
            markRead(record, *input.through);
        }
        return std::nullopt;
    }
    return Work{record, input, std::nullopt};
}

bool Librarian::wouldRead(const CaptureRecord& record) const {
    if (record.meta.memorizedAt && record.meta.kind != CaptureKind::session) {
        return false;
    }
    const auto reply = KeptReply::of(record);
    return (reply && LibrarianOps::decode(reply->text)) ||
           !LibrarianInput::of(record, m_library).text.isEmpty();
}

Task<Result<MemoryPass>> Librarian::run(CaptureRecord record, Cancel cancel, Again again) {
    // Most captures end here, without a lock.
    if (!workOn(record, again)) {
        co_return MemoryPass{.captureID = record.id()};
    }
    // Until the pass ends, however the process ends.
    const LockFile claim(record.path(u".memory.lock"_s));
    if (!claim.isMine()) {
        co_return MemoryPass{.captureID = record.id(), .isElsewhere = true};
    }
    // Anew: the one who had the lock until now may have done it.
    std::optional<Work> work = workOn(record, again);
    if (!work) {
        co_return MemoryPass{.captureID = record.id()};
    }
    if (!work->input.brokenFile.isEmpty()) {
        co_return fail(u"%1 of \"%2\" can't be read, so nothing was taken in; mend or remove it first."_s.arg(
            work->input.brokenFile, record.id()));
    }
    if (!QFileInfo(record.folder).isWritable()) {
        // Nobody would remember that it was read.
        co_return fail(record.folder + u" can't be written, so the capture was not read."_s);
    }
    const QPointer<Librarian> alive(this);
    cancel = cancel ? cancel : std::make_shared<CancellationHandle>();
    const Busy busy(*this, record.id(), cancel);
    if (!work->reply) {
        m_memory.reload(false);
        const Result<QString> answer = co_await ask(request(work->record, work->input), std::move(cancel));
        if (!answer) {
            co_return std::unexpected(answer.error());
        }
        if (!alive) {
            co_return fail(FailureKind::cancelled, u"The memory pass was cancelled."_s);
        }
        work->reply = KeptReply{*answer, work->input.through};
    }
    co_return co_await apply(std::move(work->record), *std::move(work->reply));
}

Task<MemoryCatchUp> Librarian::catchUp(std::function<void(const CaptureRecord&)> onBegin, Cancel cancel) {
    const QPointer<Librarian> alive(this);
    const QList<CaptureRecord> records = unread();
    MemoryCatchUp result;
    for (const CaptureRecord& listed : records) {
        // Deleted or read meanwhile, perhaps by another process.
        const auto record = fresh(listed);
        if (!record || record->meta.memorizedAt) {
            continue;
        }
        if (onBegin) {
            onBegin(*record);
        }
        const Result<MemoryPass> pass = co_await run(*record, cancel);
        if (pass && pass->isElsewhere) {
            result.elsewhere += listed.id();
        } else if (pass) {
            result.passes += *pass;
        } else {
            result.misses += MemoryCatchUp::Miss{listed.id(), pass.error()};
        }
        if (!alive || (!pass && concernsAgent(pass.error()))) {
            break;
        }
    }
    co_return result;
}

void Librarian::cancelAll() {
    const QMultiMap<QString, Cancel> underWay = m_reading;
    for (const Cancel& cancel : underWay) {
        cancel->cancel();
    }
}

QList<CaptureRecord> Librarian::unread() const {
    QList<CaptureRecord> records = m_library.captures();
    records.removeIf([](const CaptureRecord& record) {
        return record.meta.memorizedAt || !record.meta.endedAt || record.meta.kind == CaptureKind::prep ||
               record.meta.kind == CaptureKind::session;
    });
    std::ranges::stable_sort(records, {}, [](const CaptureRecord& record) { return record.meta.startedAt; });
    return records;
}

LibrarianOps Librarian::sessionOps(LibrarianOps ops, const QList<MemoryEntity>& projects,
                                   ReplyChanges& changes) {
    const auto textOf = [](const LibrarianOps::Promise& promise) { return promise.text; };
    const auto hookOf = [](const LibrarianOps::Idea& idea) { return idea.hook; };
    if (!ops.people.isEmpty()) {
        changes.note(u"people of chats"_s, ops.people.first().name, ops.people.size());
        ops.people.clear();
    }
    ops.projects.removeIf([&](const LibrarianOps::Entity& entity) {
        const bool isUnknown = !isProjectOf(entity, projects);
        if (isUnknown) {
            changes.note(u"unknown projects of chats"_s, entity.name);
        }
        return isUnknown;
    });
    ops.promises = bounded(ops.promises, promisesOfSession, u"promises of chats"_s, textOf, changes);
    ops.ideas = bounded(ops.ideas, ideasOfSession, u"ideas of chats"_s, hookOf, changes);
    return ops;
}

AgentRequest Librarian::request(const CaptureRecord& record, const LibrarianInput& input) const {
    AgentRequest request;
    request.systemPrompt = librarianPrompt::system();
    request.instruction = librarianPrompt::instruction();
    request.model = u"sonnet"_s;
    request.context = input.text;
    if (const QStringList attendees = record.meta.attendees.value_or(QStringList()); !attendees.isEmpty()) {
        request.context += u"\n\n## ATTENDEES\n"_s + attendees.join(u", "_s);
    }
    request.context += u"\n\n# MEMORY INDEX\n"_s + m_memory.index();
    return request;
}

Task<Result<QString>> Librarian::ask(AgentRequest request, Cancel cancel) {
    const QPointer<Librarian> alive(this);
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        Result<QString> reply = co_await m_agent.run(request, cancel);
        if (!reply) {
            AppLog::error(u"memory"_s,
                          u"librarian failed: "_s + Redact::secrets(reply.error().message.simplified()));
            co_return std::unexpected(reply.error());
        }
        if (LibrarianOps::decode(*reply)) {
            co_return reply;
        }
        AppLog::error(u"memory"_s, u"unreadable JSON (attempt %1)"_s.arg(attempt));
        if (!alive) {
            break;
        }
    }
    co_return fail(u"The agent's answer could not be read, so nothing was changed. Try again."_s);
}

Task<Result<MemoryPass>> Librarian::apply(CaptureRecord record, KeptReply reply) {
    const QPointer<Librarian> alive(this);
    // First of all, so that nothing that happens from here on costs another question.
    const bool isKept = fresh(record) && reply.keep(record);
    // Another process may have written while the model was thinking, and the title may have been found.
    m_memory.reload(false);
    LibrarianOps ops = LibrarianOps::decode(reply.text).value_or(LibrarianOps());
    ReplyChanges changes;
    if (record.meta.kind == CaptureKind::session) {
        ops = sessionOps(std::move(ops), m_memory.projects(), changes);
    }
    auto applied = co_await m_memory.apply(ops, fresh(record).value_or(record), std::move(changes));
    if (alive && applied) {
        if (const auto marked = markMemorized(record, reply.through); !marked) {
            applied = std::unexpected(marked.error());
        }
    }
    if (!applied) {
        Failure failure = applied.error();
        failure.message += isKept ? keptNote : QString();
        co_return std::unexpected(std::move(failure));
    }
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    KeptReply::drop(record);
    AppLog::info(u"memory"_s, u"updated from %1: people=%2 promises=%3 ideas=%4"_s.arg(record.id())
                                  .arg(ops.people.size())
                                  .arg(ops.promises.size())
                                  .arg(ops.ideas.size()));
    co_return *std::move(applied);
}

// An import of chats writes the metas of its logs under the same lock.

Result<> Librarian::markMemorized(const CaptureRecord& record, const std::optional<QDateTime>& through) {
    const FolderLock lock(m_library.capturesFolder());
    auto saved = fresh(record);
    if (!saved) {
        // Deleted meanwhile.
        return {};
    }
    saved->meta.memorizedAt = m_clock.now();
    if (through && (!saved->meta.sessionCursor || *saved->meta.sessionCursor < *through)) {
        saved->meta.sessionCursor = through;
    }
    return m_library.save(*saved);
}

void Librarian::markRead(const CaptureRecord& record, const QDateTime& through) {
    const FolderLock lock(m_library.capturesFolder());
    if (auto saved = fresh(record)) {
        saved->meta.sessionCursor = through;
        [[maybe_unused]] const Result<> logged = m_library.save(*saved);
    }
}

}  // namespace lumbro
