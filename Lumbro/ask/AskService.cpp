#include "ask/AskService.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "ask/formats/AnswerStream.h"
#include "ask/formats/AskPrompt.h"
#include "ask/formats/AskReply.h"
#include "library/ContextLibrary.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

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

}  // namespace

AskService::AskService(const Clock& clock, const Settings& settings, ContextLibrary& library,
                       MemoryStore& memory, AgentProvider& agent, AskPorts ports)
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
    QList<AskThread> threads = m_files.readAll(m_context.lookup());
    for (const AskThread& thread : std::as_const(m_threads)) {
        if (thread.turns.isEmpty() && m_pending.contains(thread.id)) {
            threads.append(thread);
        }
    }
    AskThreads::sort(threads);
    m_threads = threads;
    m_unsaved.clear();
    Q_EMIT threadsChanged();
}

QString AskService::ask(const AskQuestion& asked) {
    AskQuestion question = asked;
    question.question = asked.question.trimmed();
    const AskThread thread = threadFor(question);
    const QString id = thread.id;
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
    runDetached(run(question, thread, request(question, thread), handle));
    return id;
}

AskThread AskService::threadFor(const AskQuestion& question) const {
    const auto known = thread(question.thread);
    const auto taken = [this](const QString& id) { return thread(id).has_value(); };
    AskThread found = known ? *known : m_files.make(question.question, m_clock.now(), taken);
    if (!found.scope) {
        found.scope = question.about ? AskScope::capture(question.about->id()) : question.scope;
    }
    return found;
}

AgentRequest AskService::request(const AskQuestion& question, const AskThread& thread) const {
    return {.systemPrompt = askPrompt::systemPrompt(),
            .instruction = askPrompt::instruction(),
            .context = m_context.input(question, thread),
            .model = question.engine ? question.engine->model : u"sonnet"_s,
            .tools = {u"Read"_s, u"Grep"_s, u"Glob"_s},
            .workingDirectory = m_library.root(),
            .provider = m_provider,
            .onText = shownText(question.onText)};
}

Task<> AskService::run(AskQuestion question, AskThread thread, AgentRequest request, Handle handle) {
    const QPointer<AskService> alive(this);
    const auto reply = co_await m_agent.run(std::move(request), handle);
    if (!alive) {
        co_return;
    }
    if (handle->isCancelled) {
        AppLog::info(u"ask"_s, u"cancelled"_s);
    } else if (reply) {
        const AskAnswer answer = keep(question, thread, *reply);
        if (question.onAnswer) {
            question.onAnswer(answer);
        }
    } else if (reply.error().kind != FailureKind::cancelled) {
        AppLog::error(u"ask"_s, reply.error().message);
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

AskAnswer AskService::keep(const AskQuestion& question, const AskThread& thread, const QString& output) {
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
    save(this->thread(thread.id).value_or(thread), turn);
    return {turn.question, turn.answer, turn.sources, thread.id, turn.action};
}

void AskService::save(AskThread thread, const AskTurn& turn) {
    Unsaved unsaved = m_unsaved.take(thread.id);
    AskThread saved = thread;
    saved.turns.resize(thread.turns.size() - std::min(unsaved.turns.size(), thread.turns.size()));
    unsaved.turns.append(turn);
    const auto written = m_files.append(saved, unsaved.turns, m_context.lookup());
    if (!written) {
        AppLog::error(u"ask"_s, written.error().message);
        unsaved.reason = written.error().message;
        m_unsaved[thread.id] = unsaved;
        thread.turns.append(turn);
    }
    put(written.value_or(thread));
    AskThreads::sort(m_threads);
    Q_EMIT threadsChanged();
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
    Q_EMIT threadsChanged();
}

QList<Engine> AskService::chipEngines(const AskScope& scope, const QString& liveCaptureID) const {
    const QString folder = m_library.capturesFolder() + u'/' + scope.id + u"/handoffs/"_s;
    return scope.chipEngines(
        m_library.enginesSuggestedAt(scope.suggestPlace(liveCaptureID)),
        [&](const QString& engineID) { return QFileInfo::exists(folder + engineID + u".md"_s); });
}

}  // namespace lumbro
