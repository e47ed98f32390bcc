#include "library/model/EngineRuns.h"

#include "LumbroCore/AtomicFile.h"
#include "engines/formats/EngineInput.h"
#include "library/ContextLibrary.h"
#include "library/model/Background.h"
#include "library/model/CaptureNaming.h"
#include "library/model/Pill.h"

#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto doneShown = 6s;

/// True when the capture has a transcript that is lost to its readers, who take it for an empty one.
bool hasBrokenTranscript(const CaptureRecord& record) {
    const QString path = record.path(u"transcript.json"_s);
    const auto bytes = readFile(path);
    return bytes ? !transcript::decodeWhole(*bytes) : QFileInfo::exists(path);
}

Task<> ignoringResult(Task<Result<QString>> run) {
    co_await run;
}

}  // namespace

struct EngineRuns::Run {
    Engine engine;
    CaptureRecord record;
    TranscriptSegments segments;
    QString notes;
    std::optional<QString> focus;
    bool quiet = false;
    std::shared_ptr<CancellationHandle> handle = std::make_shared<CancellationHandle>();

    QString key() const { return EngineRuns::key(record.id(), engine.id); }
};

EngineRuns::EngineRuns(Ports ports) : m_ports(std::move(ports)) {}

EngineRuns::~EngineRuns() = default;

bool EngineRuns::isRunning(const QString& captureID, const QString& engineID) const {
    return m_runs.value(key(captureID, engineID)).running;
}

void EngineRuns::handOff(const Engine& engine, const QString& captureID, const std::optional<QString>& focus,
                         bool quiet) {
    m_ports.background.run(ignoringResult(runEngine(engine, captureID, focus, quiet)));
}

Task<Result<QString>> EngineRuns::runEngine(Engine engine, QString captureID, std::optional<QString> focus,
                                            bool quiet) {
    const auto record = m_ports.library.record(captureID);
    if (!record) {
        co_return fail(FailureKind::notFound, u"There is no capture \"%1\"."_s.arg(captureID));
    }
    if (isRunning(captureID, engine.id)) {
        co_return fail(u"%1 is already running on this capture."_s.arg(engine.name));
    }
    // What is made without the words would replace the good result that was made with them.
    if (const auto readable = checkTranscript(*record); !readable) {
        co_return refuse(engine, *record, readable.error(), quiet);
    }
    const QPointer<EngineRuns> alive(this);
    Run run{engine, *record, m_ports.library.segments(*record), m_ports.library.notes(*record), focus, quiet};
    begin(run);
    const auto reply = answer(run);
    if (!quiet) {
        m_ports.naming.nameIfNeeded(run.record, run.segments, run.notes);
    }
    const Result<QString> text = co_await reply;
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    co_return finish(run, text);
}

Task<Result<QString>> EngineRuns::answer(Run run) {
    const QPointer<EngineRuns> alive(this);
    QString calendar;
    if (m_ports.calendarContext && EngineInput::wantsCalendar(run.engine)) {
        calendar = co_await m_ports.calendarContext();
    }
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    co_return co_await m_ports.agent.run(request(run, calendar), run.handle);
}

void EngineRuns::cancelRun(const QString& captureID, const QString& engineID) {
    if (const auto handle = m_handles.value(key(captureID, engineID))) {
        handle->cancel();
    }
}

void EngineRuns::supersedeRun(const QString& captureID, const QString& engineID) {
    if (!isRunning(captureID, engineID)) {
        return;
    }
    const QString name = key(captureID, engineID);
    // Forgotten before it is cancelled: a run that ends within the cancelling must find itself replaced.
    const auto handle = m_handles.take(name);
    setState(name, std::nullopt);
    if (handle) {
        handle->cancel();
    }
}

void EngineRuns::makeIdea(const DailyIdea& idea, const QList<DailyIdea>& ideas) {
    auto engine = m_ports.library.engine(u"content"_s);
    if (!engine && !m_ports.library.engines().isEmpty()) {
        engine = m_ports.library.engines().first();
    }
    if (!engine) {
        return;
    }
    m_ports.pill.removeFromInbox(inboxID(pill::Ideas{}));
    QList<DailyIdea> remaining = ideas;
    remaining.removeAll(idea);
    if (!remaining.isEmpty()) {
        m_ports.pill.addToInbox(pill::Ideas{remaining});
    }
    handOff(*engine, idea.capture, u"%1 — %2"_s.arg(idea.hook, idea.angle));
}

AgentRequest EngineRuns::request(const Run& run, const QString& calendar) const {
    AgentRequest request;
    request.systemPrompt = EngineInput::systemPrompt(run.engine, m_ports.voice());
    request.instruction = u"Run the %1 engine on the capture in stdin."_s.arg(run.engine.name);
    request.context =
        EngineInput::build(run.record, run.segments, run.notes) + EngineInput::extras(run.engine, calendar);
    if (run.focus && !run.focus->isEmpty()) {
        request.context += u"\n\n## FOCUS\nBuild everything around this idea: "_s + *run.focus;
    }
    request.model = run.engine.model;
    return request;
}

void EngineRuns::begin(const Run& run) {
    m_ports.pill.removeFromInbox(inboxID(inbox::Handoff{run.record.id()}));
    m_handles.insert(run.key(), run.handle);
    setState(run.key(), EngineRunState{true, {}});
    if (mayUsePill(run)) {
        m_ports.pill.setMode(pill::Working{run.engine.id, run.record.id()});
    }
}

Result<QString> EngineRuns::finish(const Run& run, Result<QString> reply) {
    const QString key = run.key();
    if (m_handles.value(key) != run.handle) {
        return fail(FailureKind::cancelled, u"A newer run of this engine has taken over."_s);
    }
    m_handles.remove(key);
    if (reply) {
        const Result<> written = m_ports.library.writeHandoff(*reply, run.engine.id, run.record);
        if (written) {
            return succeed(run, *reply);
        }
        reply = std::unexpected(written.error());
    }
    const Failure& failure = reply.error();
    if (failure.kind == FailureKind::cancelled) {
        setState(key, std::nullopt);
        if (m_ports.pill.mode() == PillMode(pill::Working{run.engine.id, run.record.id()})) {
            m_ports.pill.rest();
        }
        return reply;
    }
    setState(key, EngineRunState{false, failure.message, failure.detail});
    if (mayUsePill(run)) {
        m_ports.pill.sayError(failure.message);
    }
    return reply;
}

Result<QString> EngineRuns::succeed(const Run& run, const QString& text) {
    const QString captureID = run.record.id();
    if (run.engine.id == u"content") {
        m_ports.exportSlides(text, run.record);
    }
    setState(run.key(), std::nullopt);
    Q_EMIT handoffWritten(captureID, run.engine.id);
    const inbox::Result item{run.engine.id, captureID};
    if (mayUsePill(run)) {
        m_ports.pill.setMode(pill::Done{run.engine.id, captureID}, doneShown, item);
    } else {
        m_ports.pill.addToInbox(item);
    }
    return text;
}

Result<> EngineRuns::checkTranscript(const CaptureRecord& record) {
    if (!hasBrokenTranscript(record)) {
        return {};
    }
    return fail(
        u"The transcript of \"%1\" can't be read, so no engine runs on it; mend or remove transcript.json first."_s
            .arg(record.id()));
}

std::unexpected<Failure> EngineRuns::refuse(const Engine& engine, const CaptureRecord& record,
                                            const Failure& failure, bool quiet) {
    setState(key(record.id(), engine.id), EngineRunState{false, failure.message});
    if (!quiet && !m_ports.isRecording()) {
        m_ports.pill.sayError(failure.message);
    }
    return std::unexpected(failure);
}

bool EngineRuns::mayUsePill(const Run& run) const {
    return !run.quiet && !m_ports.isRecording();
}

void EngineRuns::setState(const QString& key, const std::optional<EngineRunState>& state) {
    const QMap<QString, EngineRunState> before = m_runs;
    if (state) {
        m_runs.insert(key, *state);
    } else {
        m_runs.remove(key);
    }
    if (m_runs != before) {
        Q_EMIT runsChanged();
    }
}

}  // namespace lumbro
