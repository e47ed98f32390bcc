#include "engines/EngineInbox.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/InBackground.h"
#include "engines/DroppedFile.h"
#include "engines/formats/EngineInput.h"
#include "library/CaptureLock.h"
#include "library/ContextLibrary.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

/// A file that was moved, or not, and what it holds.
struct Taken {
    Result<bool> moved;
    Result<DroppedFile> contents;
};

Taken take(const WatchedFolder& folder, const QByteArray& rawName, const QString& place) {
    Taken taken{folder.take(rawName, place), DroppedFile()};
    if (taken.moved && *taken.moved) {
        taken.contents = DroppedFile::read(place);
    }
    return taken;
}

QString watched(const Engine& engine) {
    return engine.watch.value_or(QString());
}

}  // namespace

/// One file on its way through an engine.
struct EngineInbox::Job {
    Engine engine;
    WaitingFile file;
    Cancel cancel = std::make_shared<CancellationHandle>();
    /// Whether a result that can't be filed waits for room.
    bool waitsForRoom = false;
    InboxFolder records;
    /// Held while any process works for the engine.
    CaptureLock lock{QString()};
    bool isStuck = false;
    /// Why no other file would fare better: there is no agent to work on it.
    QString agentIsMissing{};
    QString run{};
    QString place{};
    DroppedFile contents{};

    QString runName() const { return QFileInfo(run).fileName(); }
    QString path() const { return watched(engine) + u'/' + file.name; }
    QString line(const QString& text) const { return engine.id + u": "_s + text; }
};

EngineInbox::EngineInbox(Ports ports)
    : m_ports(std::move(ports)), m_presence(m_ports.clock, m_ports.whyNoAgent) {}

EngineInbox::~EngineInbox() {
    for (const Cancel& cancel : std::as_const(m_handles)) {
        cancel->cancel();
    }
}

QList<Engine> EngineInbox::watching(const ContextLibrary& library) {
    QList<Engine> found = library.systemEngines();
    found.removeIf([](const Engine& engine) { return !engine.watch; });
    return found;
}

QString EngineInbox::problemOf(const Engine& engine, const QString& libraryRoot) {
    return WatchedFolder(watched(engine)).problem(libraryRoot);
}

void EngineInbox::markInterrupted() {
    const QString root = m_ports.library.root();
    for (const QString& id : InboxFolder::engines(root)) {
        const InboxFolder records(root, id);
        // Another process that works there has looked after what it found.
        if (const CaptureLock lock(records.path()); lock.isLocked()) {
            for (const QString& run : records.markInterrupted()) {
                AppLog::info(u"inbox"_s, u"%1: marked %2 interrupted"_s.arg(id, run));
            }
        }
    }
}

void EngineInbox::scan() {
    if (m_ports.isRecording() || m_isLooking || m_presence.rests()) {
        return;
    }
    QList<Waiting> waiting;
    for (const Engine& engine : watching(m_ports.library)) {
        if (m_running.contains(engine.id)) {
            continue;
        }
        if (const QString problem = problemOf(engine, m_ports.library.root()); !problem.isEmpty()) {
            complainOnce(engine.id, engine.id + u": "_s + problem);
            continue;
        }
        m_stuck.remove(engine.id);
        auto files = WatchedFolder(watched(engine)).files(m_ports.clock.now()).value_or(QList<WaitingFile>());
        files.removeIf([](const WaitingFile& file) { return !file.isSettled; });
        if (!files.isEmpty()) {
            waiting.append({engine, files});
        }
    }
    if (!waiting.isEmpty()) {
        runDetached(beginAll(waiting));
    }
}

Task<> EngineInbox::beginAll(QList<Waiting> waiting) {
    const QPointer<EngineInbox> alive(this);
    m_isLooking = true;
    const QString problem = co_await m_presence.problem();
    if (!alive) {
        co_return;
    }
    m_isLooking = false;
    if (m_presence.note(problem)) {
        AppLog::error(u"inbox"_s, u"files wait: "_s + problem);
        m_ports.tell(u"Files wait for their engines: "_s + problem, true);
    }
    if (!problem.isEmpty() || m_ports.isRecording()) {
        co_return;
    }
    for (const auto& [engine, files] : std::as_const(waiting)) {
        runDetached(scanOne(engine, files));
    }
}

Task<> EngineInbox::scanOne(Engine engine, QList<WaitingFile> files) {
    const QPointer<EngineInbox> alive(this);
    // One that can't be taken does not keep the others waiting.
    for (const WaitingFile& file : std::as_const(files)) {
        const auto job =
            std::make_shared<Job>(Job{.engine = engine,
                                      .file = file,
                                      .waitsForRoom = true,
                                      .records = InboxFolder(m_ports.library.root(), engine.id)});
        co_await takeOne(job);
        if (!alive) {
            co_return;
        }
        m_presence.note(job->agentIsMissing);
        if (!job->isStuck) {
            co_return;
        }
    }
}

Task<QList<InboxRun>> EngineInbox::workThrough(Cancel cancel) {
    const QPointer<EngineInbox> alive(this);
    const QString root = m_ports.library.root();
    QList<InboxRun> told;
    QString reason;
    for (const Engine& engine : watching(m_ports.library)) {
        if (const QString problem = problemOf(engine, root); !problem.isEmpty()) {
            told += InboxRun{.engine = engine.id, .state = InboxRun::State::failed, .message = problem};
            continue;
        }
        const auto files = WatchedFolder(watched(engine)).files(m_ports.clock.now());
        for (const WaitingFile& file : files.value_or(QList<WaitingFile>())) {
            const auto job = std::make_shared<Job>(Job{
                .engine = engine, .file = file, .cancel = cancel, .records = InboxFolder(root, engine.id)});
            if (cancel->isCancelled || !reason.isEmpty()) {
                told += waits(*job, cancel->isCancelled ? u"stopped before it"_s : reason);
            } else if (!file.isSettled) {
                told += waits(*job, u"changed within the last 5 seconds"_s);
            } else {
                told += co_await takeWithAgent(job);
                reason = job->agentIsMissing;
            }
            if (!alive) {
                co_return told;
            }
        }
    }
    co_return told;
}

/// Makes the engine's records ready for the file. What became of it when that can't be.
std::optional<InboxRun> EngineInbox::begin(Job& job) {
    const QString folder = job.records.path();
    if (!makePrivateFolder(folder)) {
        return couldNotTake(job, u"the folder %1 can't be made"_s.arg(folder));
    }
    // The quick question first: the lock itself waits a moment for others.
    if (!CaptureLock::isHeld(folder)) {
        job.lock = CaptureLock(folder);
    }
    if (!job.lock.isLocked()) {
        return waits(job, u"the engine works on another file"_s);
    }
    for (const QString& run : job.records.markInterrupted()) {
        AppLog::info(u"inbox"_s, job.line(u"marked %1 interrupted"_s.arg(run)));
    }
    const auto run = job.records.makeRun(m_ports.clock.now(), job.file.name);
    if (!run) {
        return couldNotTake(job, run.error().message);
    }
    job.run = *run;
    job.place = InboxFolder::placeIn(*run, job.file.name);
    return std::nullopt;
}

/// Leaves the file where it is as long as nobody can work on it.
Task<InboxRun> EngineInbox::takeWithAgent(JobPtr job) {
    const QPointer<EngineInbox> alive(this);
    job->agentIsMissing = co_await m_presence.problem();
    if (alive && job->agentIsMissing.isEmpty()) {
        co_return co_await takeOne(job);
    }
    co_return waits(*job, job->agentIsMissing, InboxRun::State::failed);
}

Task<InboxRun> EngineInbox::takeOne(JobPtr job) {
    const QPointer<EngineInbox> alive(this);
    if (const auto hindered = begin(*job)) {
        co_return *hindered;
    }
    setRunning(job->engine.id, job->file.name);
    const Taken taken =
        co_await inBackground([source = WatchedFolder(watched(job->engine)), name = job->file.rawName,
                               place = job->place] { return take(source, name, place); });
    if (!alive) {
        co_return InboxRun();
    }
    if (!taken.moved || !*taken.moved) {
        QDir().rmdir(job->run);
        setRunning(job->engine.id, {});
        co_return taken.moved ? waits(*job, u"gone, taken by another process, or still being written"_s)
                              : couldNotTake(*job, taken.moved.error().message);
    }
    m_stuck.remove(job->path());
    if (!taken.contents) {
        const QString reason = u"it can't be read: "_s + taken.contents.error().message;
        co_return finish(*job, InboxRun::State::failed, reason);
    }
    job->contents = *taken.contents;
    co_return co_await work(job);
}

Task<InboxRun> EngineInbox::work(JobPtr job) {
    if (const auto earlier = job->records.runOf(job->contents.hash)) {
        co_return finish(*job, InboxRun::State::skipped, *earlier);
    }
    const QString& name = job->file.name;
    const QStringList& tools = job->engine.tools;
    AppLog::info(u"inbox"_s,
                 job->line(u"started on "_s + name +
                           (tools.isEmpty() ? QString() : u" with tools "_s + tools.join(u", "_s))));
    AppLog::info(u"inbox"_s, job->line(u"working on "_s + name));
    const QPointer<EngineInbox> alive(this);
    const auto start = m_ports.clock.elapsed();
    m_handles.insert(job->engine.id, job->cancel);
    Q_EMIT began(job->engine.name, name);
    const Result<QString> reply = co_await m_ports.agent.run(request(*job), job->cancel);
    if (!alive) {
        co_return InboxRun();
    }
    m_handles.remove(job->engine.id);
    if (!reply) {
        const FailureKind kind = reply.error().kind;
        const bool isMissing = kind == FailureKind::notInstalled || kind == FailureKind::notLoggedIn;
        job->agentIsMissing = isMissing ? reply.error().message : QString();
        co_return finish(*job, InboxRun::State::failed, reply.error().message);
    }
    const auto seconds = std::chrono::round<std::chrono::seconds>(m_ports.clock.elapsed() - start).count();
    InboxRun filed = co_await file(job, *reply);
    if (alive && filed.state == InboxRun::State::done) {
        AppLog::info(u"inbox"_s, job->line(u"done with %1 in %2s"_s.arg(name, QString::number(seconds))));
        if (QFileInfo(job->place).size() != job->contents.bytes) {
            filed.message =
                u"%1 was still being written meanwhile; drop it in again for the rest."_s.arg(name);
            AppLog::info(u"inbox"_s, job->line(filed.message));
            m_ports.tell(filed.message, true);
        }
    }
    co_return filed;
}

Task<InboxRun> EngineInbox::file(JobPtr job, QString reply) {
    const QPointer<EngineInbox> alive(this);
    Result<> written = InboxFolder::writeResult(job->run, reply);
    if (!written && job->waitsForRoom) {
        AppLog::error(u"inbox"_s, job->line(written.error().message + u"; trying again"_s));
        m_ports.tell(u"%1 is done, but its result can't be filed: %2. Make room; Lumbro tries again."_s.arg(
                         job->engine.name, written.error().message),
                     true);
    }
    // A reply that was paid for is kept in hand as long as there is a folder for it.
    while (!written && job->waitsForRoom && QFileInfo(job->run).isDir()) {
        co_await m_ports.clock.sleep(interval);
        if (!alive) {
            co_return InboxRun();
        }
        written = InboxFolder::writeResult(job->run, reply);
    }
    if (!written) {
        InboxRun lost = finish(*job, InboxRun::State::failed, written.error().message);
        lost.reply = reply;
        co_return lost;
    }
    if (const auto noted = job->records.remember(job->contents.hash, job->runName()); !noted) {
        AppLog::error(u"inbox"_s, job->line(noted.error().message));
    }
    co_return finish(*job, InboxRun::State::done, InboxFolder::firstLine(reply));
}

AgentRequest EngineInbox::request(const Job& job) const {
    AgentRequest request;
    request.systemPrompt = EngineInput::systemPrompt(job.engine, m_ports.voice());
    request.instruction = u"Run the %1 engine on the inbox file described in stdin."_s.arg(job.engine.name);
    request.context = u"# INBOX FILE\nPath: %1\nName: "_s.arg(job.place) + job.file.name + u"\nArrived: "_s +
                      dates::readable(m_ports.clock.now()) + u"\n\n## CONTENTS\n"_s +
                      job.contents.text.value_or(u"(not text; open it from the path if you need it)"_s);
    request.model = job.engine.model;
    request.tools = job.engine.tools;
    request.workingDirectory = job.engine.workdir.value_or(QString());
    request.timeout = EngineInput::timeout(job.engine);
    return request;
}

InboxRun EngineInbox::finish(Job& job, InboxRun::State state, const QString& message) {
    const QString& name = job.file.name;
    const QString& engine = job.engine.name;
    QString error;
    if (state == InboxRun::State::skipped) {
        error = u"Skipped: same content as the run in %1. Rename or change the file to run it again."_s.arg(
            message);
        AppLog::info(u"inbox"_s, job.line(u"skipped %1, same as %2"_s.arg(name, message)));
    } else if (state == InboxRun::State::failed) {
        error = u"Failed: "_s + message;
        AppLog::error(u"inbox"_s, job.line(u"failed on %1: %2"_s.arg(name, message)));
    }
    if (!error.isEmpty()) {
        if (const auto written = InboxFolder::writeError(job.run, error); !written) {
            AppLog::error(u"inbox"_s, job.line(written.error().message));
        }
    }
    // The next file may be taken, by any process, once this one's end is on the disk.
    job.lock = CaptureLock(QString());
    setRunning(job.engine.id, {});
    if (state == InboxRun::State::done) {
        m_ports.tell(u"%1: done. %2"_s.arg(engine, message), false);
    } else if (state == InboxRun::State::failed) {
        m_ports.tell(u"%1 failed: %2"_s.arg(engine, message), true);
    }
    const bool isSame = state == InboxRun::State::skipped;
    return {.engine = job.engine.id,
            .file = name,
            .run = job.runName(),
            .state = state,
            .message = isSame ? u"same content as the run in "_s + message : message,
            .folder = job.run};
}

InboxRun EngineInbox::waits(Job& job, const QString& why, InboxRun::State state) {
    job.lock = CaptureLock(QString());
    return {.engine = job.engine.id, .file = job.file.name, .state = state, .message = why};
}

InboxRun EngineInbox::couldNotTake(Job& job, const QString& reason) {
    job.isStuck = true;
    complainOnce(job.path(),
                 job.line(u"couldn't take %1 from %2: %3"_s.arg(job.file.name, watched(job.engine), reason)));
    return waits(job, u"couldn't be taken: "_s + reason, InboxRun::State::failed);
}

void EngineInbox::complainOnce(const QString& key, const QString& line) {
    if (!m_stuck.contains(key)) {
        m_stuck.insert(key);
        AppLog::error(u"inbox"_s, line);
    }
}

void EngineInbox::setRunning(const QString& engineID, const QString& file) {
    const QMap<QString, QString> before = m_running;
    if (file.isEmpty()) {
        m_running.remove(engineID);
    } else {
        m_running.insert(engineID, file);
    }
    if (m_running != before) {
        Q_EMIT runningChanged();
    }
}

}  // namespace lumbro
