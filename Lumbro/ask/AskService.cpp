#include "ask/AskService.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/LockedUpdate.h"
#include "ask/formats/AnswerStream.h"
#include "ask/formats/AskPrompt.h"
#include "ask/formats/AskReply.h"
#include "chats/formats/Redact.h"
#include "library/ContextLibrary.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

/// Lets through what of a model's text can be shown.
std::function<void(const QString&, bool)> shownText(std::function<void(const QString&, bool)> onText) {
    if (!onText) {
        return {};
    }
    return [onText = std::move(onText), stream = AnswerStream()](const QString& piece, bool isNew) mutable {
        if (isNew) {
            stream.restart();
        }
        const QString shown = stream.feed(piece);
        if (isNew || !shown.isEmpty()) {
            onText(shown, isNew);
        }
    };
}

/// The lock of the threads' folder; without it when another process keeps it for long.
Task<std::unique_ptr<FolderLock>> lockThreads(Clock* clock, QString folder) {
    constexpr auto pause = 50ms;
    constexpr int tries = 100;
    constexpr qint64 staleSeconds = 60;
    makePrivateFolder(folder);
    for (int i = 0; i < tries; ++i) {
        auto lock = std::make_unique<FolderLock>(folder, 0ms);
        if (lock->isLocked() || !QFileInfo(folder).isDir()) {
            // Who gets no lock in the end writes without one.
            removeUnfinishedUpdates(folder, QDateTime::currentDateTime().addSecs(-staleSeconds));
            co_return lock;
        }
        co_await clock->sleep(pause);
    }
    co_return std::make_unique<FolderLock>(folder, 0ms);
}

}  // namespace

AskService::AskService(Clock& clock, const Settings& settings, ContextLibrary& library, MemoryStore& memory,
                       AgentProvider& agent, AskPorts ports)
    : m_clock(clock),
      m_library(library),
      m_agent(agent),
      m_context(clock, settings, library, memory, std::move(ports)),
      m_files(library.root()) {}

AskService::~AskService() {
    for (const Handle& handle : std::as_const(m_handles)) {
        handle->cancel();
    }
}

std::optional<AskThread> AskService::thread(const QString& id) const {
    const auto found = std::ranges::find(m_threads, id, &AskThread::id);
    return found == m_threads.end() ? std::nullopt : std::optional(*found);
}

void AskService::setProvider(std::optional<AIProvider> provider) {
    if (std::exchange(m_provider, provider) != provider) {
        Q_EMIT providerChanged();
    }
}

void AskService::reload() {
    if (!makePrivateFolder(m_files.folder())) {
        AppLog::error(u"ask"_s, u"The folder %1 can't be made."_s.arg(m_files.folder()));
    }
    QStringList unreadable;
    QList<AskThread> threads = m_files.readAll(m_context.lookup(), &unreadable);
    for (const QString& path : std::as_const(unreadable)) {
        m_broken.report(path, u"; no conversation is listed from it"_s);
    }
    QSet<QString> isNew;
    for (const AskThread& thread : std::as_const(m_threads)) {
        const bool isKept = m_pending.contains(thread.id) || m_unsaved.contains(thread.id);
        if (m_new.contains(thread.id) && isKept) {
            isNew.insert(thread.id);
        }
        if (isNew.contains(thread.id) && std::ranges::count(threads, thread.id, &AskThread::id) == 0) {
            threads.append(thread);
        }
    }
    m_new = isNew;
    AskThreads::sort(threads);
    m_threads = threads;
    m_unsaved.removeIf([&](const auto& unsaved) { return !isNew.contains(unsaved.key()); });
    Q_EMIT threadsChanged();
}

QString AskService::ask(const AskQuestion& asked) {
    AskQuestion question = asked;
    // As answers are, so that the file gives back what was asked.
    question.question.remove(QChar::Null).remove(u'\r');
    question.question = question.question.trimmed();
    const AskThread thread = threadFor(question);
    const QString id = thread.id;
    if (!this->thread(id)) {
        m_new.insert(id);
        m_unsaved.remove(id);
        m_names.remove(id);
    }
    put(thread);
    m_pending[id] = question.question;
    m_pendingEngines.remove(id);
    if (question.engine) {
        m_pendingEngines[id] = question.engine->id;
    }
    m_errors.remove(id);
    Q_EMIT threadsChanged();
    Q_EMIT pendingChanged();
    Q_EMIT errorsChanged();
    const auto handle = std::make_shared<CancellationHandle>();
    m_handles[id] = handle;
    runDetached(run(question, thread, handle));
    return id;
}

AskThread AskService::threadFor(const AskQuestion& question) const {
    const auto known = thread(question.thread);
    const auto taken = [this](const QString& id) { return thread(id).has_value() || isRunning(id); };
    AskThread found = known ? *known : m_files.make(question.question, m_clock.now(), taken);
    if (!found.scope) {
        found.scope = question.about ? AskScope::capture(question.about->id()) : question.scope;
    }
    return found;
}

AgentRequest AskService::request(const AskQuestion& question) const {
    return {.systemPrompt = askPrompt::systemPrompt(),
            .instruction = askPrompt::instruction(),
            .context = {},
            .model = question.engine ? question.engine->model : u"sonnet"_s,
            .tools = {u"Read"_s, u"Grep"_s, u"Glob"_s},
            .workingDirectory = m_library.root(),
            .provider = m_provider,
            .onText = shownText(question.onText)};
}

Task<> AskService::run(AskQuestion question, AskThread thread, Handle handle) {
    const QPointer<AskService> alive(this);
    AgentRequest request = this->request(question);
    const AskDates dates = co_await m_context.dates();
    if (!alive) {
        co_return;
    }
    request.context = m_context.input(question, thread, dates);
    const auto reply = co_await m_agent.run(std::move(request), handle);
    if (!alive) {
        co_return;
    }
    std::unique_ptr<FolderLock> lock;
    if (reply && !handle->isCancelled) {
        lock = co_await lockThreads(&m_clock, m_files.folder());
        if (!alive) {
            co_return;
        }
    }
    if (handle->isCancelled) {
        AppLog::info(u"ask"_s, u"cancelled"_s);
    } else if (reply) {
        const AskTurn turn = turnFrom(question, *reply);
        const QString id = save(thread, turn, lock->isLocked());
        lock.reset();
        if (question.onAnswer) {
            question.onAnswer({turn.question, turn.answer, turn.sources, id, turn.action});
        }
    } else if (reply.error().kind != FailureKind::cancelled) {
        // An agent says what it was given, keys and all.
        AppLog::error(u"ask"_s, Redact::secrets(reply.error().message));
        m_errors[thread.id] = reply.error().message;
        Q_EMIT errorsChanged();
        if (question.onError) {
            question.onError(reply.error());
        }
    }
    if (!alive) {
        co_return;
    }
    // A newer question in the same thread keeps its marks.
    if (m_handles.value(thread.id) == handle) {
        m_handles.remove(thread.id);
        forgetPending(thread.id);
    }
    Q_EMIT ended(thread.id);
}

AskTurn AskService::turnFrom(const AskQuestion& question, const QString& output) const {
    const AskReply reply = AskReply::parse(output);
    AskTurn turn;
    turn.question = question.question;
    turn.answer = reply.text;
    turn.rawSources = reply.rawSources;
    turn.sources = AskReply::resolve(reply.rawSources, m_context.lookup());
    turn.date = m_clock.now();
    turn.action = reply.action;
    if (question.engine) {
        turn.engine = question.engine->id;
        const EngineResult& result = question.engine->result;
        if (!turn.action && result.kind == EngineResult::Kind::action) {
            turn.action = result.app;
        }
    }
    return turn;
}

/// Gives the id of the thread, which is another one when its name was taken meanwhile.
QString AskService::save(const AskThread& asked, const AskTurn& turn, bool isLocked) {
    const QString id = m_names.value(asked.id, asked.id);
    Unsaved unsaved = m_unsaved.take(id);
    // A file that has taken a new thread's name may have been read since.
    auto known = m_new.contains(id) ? std::optional(asked) : thread(id);
    if (!known) {
        m_unsaved[id] = {{}, u"The conversation was deleted meanwhile."_s};
        return id;
    }
    const QList<AskTurn> before = unsaved.turns;
    unsaved.turns.append(turn);
    const auto written = write(*known, unsaved.turns, isLocked);
    const bool isGone = !written && written.error().kind == FailureKind::notFound;
    if (!written) {
        AppLog::error(u"ask"_s, written.error().message);
        known->turns = m_new.contains(id) ? unsaved.turns : known->turns + QList{turn};
        m_unsaved[id] = {isGone ? QList<AskTurn>() : unsaved.turns, written.error().message};
    } else if (m_new.remove(id) && written->id != id) {
        m_names[id] = written->id;
    }
    const bool hasMoved = written && written->id != id;
    m_threads.removeIf([&](const AskThread& other) {
        return other.id == id && (isGone || (hasMoved && other.turns == before));
    });
    if (!isGone) {
        // Before others that were answered in the same second.
        const AskThread answered = written.value_or(*known);
        m_threads.removeIf([&](const AskThread& other) { return other.id == answered.id; });
        m_threads.prepend(answered);
    }
    AskThreads::sort(m_threads);
    Q_EMIT threadsChanged();
    return written ? written->id : id;
}

Result<AskThread> AskService::write(const AskThread& thread, const QList<AskTurn>& turns,
                                    bool isLocked) const {
    if (!isLocked) {
        return QFileInfo(m_files.folder()).isDir()
                   ? fail(u"Another process keeps the conversations locked."_s)
                   : fail(u"The folder %1 can't be made."_s.arg(m_files.folder()));
    }
    if (m_new.contains(thread.id)) {
        AskThread whole = thread;
        whole.turns = turns;
        return m_files.create(whole, m_context.lookup());
    }
    return m_files.append(thread, turns, m_context.lookup());
}

void AskService::put(const AskThread& thread) {
    const auto found = std::ranges::find(m_threads, thread.id, &AskThread::id);
    if (found == m_threads.end()) {
        m_threads.prepend(thread);
    } else {
        *found = thread;
    }
}

void AskService::cancel(const QString& threadID) {
    if (const Handle handle = m_handles.value(threadID)) {
        handle->cancel();
    }
    forgetPending(threadID);
}

void AskService::forgetPending(const QString& threadID) {
    const bool wasPending = m_pending.remove(threadID) > 0;
    const bool wasEngine = m_pendingEngines.remove(threadID) > 0;
    if (wasPending || wasEngine) {
        Q_EMIT pendingChanged();
    }
}

void AskService::remove(const AskThread& thread) {
    if (const auto removed = m_files.remove(thread); !removed) {
        AppLog::error(u"ask"_s, removed.error().message);
    }
    m_threads.removeIf([&](const AskThread& other) { return other.id == thread.id; });
    m_new.remove(thread.id);
    m_unsaved.remove(thread.id);
    Q_EMIT threadsChanged();
}

QList<Engine> AskService::chipEngines(const AskScope& scope, const QString& liveCaptureID) const {
    const QString folder = m_library.capturesFolder() + u'/' + scope.id + u"/handoffs/"_s;
    return scope.chipEngines(
        m_library.enginesSuggestedAt(scope.suggestPlace(liveCaptureID)),
        [&](const QString& engineID) { return QFileInfo::exists(folder + engineID + u".md"_s); });
}

}  // namespace lumbro
