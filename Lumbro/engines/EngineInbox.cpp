#include "engines/EngineInbox.h"

#include "LumbroCore/AppLog.h"
#include "engines/EngineInboxJob.h"
#include "library/ContextLibrary.h"

#include <QDir>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

/// So often a process that waits for another one's end looks for it.
constexpr std::chrono::milliseconds look{500};

}  // namespace

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

WatchedFolder EngineInbox::folderOf(const Engine& engine) {
    return WatchedFolder(engine.watch.value_or(QString()));
}

QString EngineInbox::problemOf(const Engine& engine, const QString& libraryRoot) {
    return folderOf(engine).problem(libraryRoot);
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
        auto files = folderOf(engine).files(m_ports.clock.now()).value_or(QList<WaitingFile>());
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
    QString whyNot;
    const QList<Engine> engines = watching(m_ports.library);
    for (const Engine& engine : engines) {
        if (const QString problem = problemOf(engine, root); !problem.isEmpty()) {
            told += InboxRun{.engine = engine.id, .state = InboxRun::State::failed, .message = problem};
            continue;
        }
        const InboxFolder records(root, engine.id);
        const QStringList before = records.endedRuns();
        bool othersWorked = co_await turn(engine, cancel);
        if (!alive) {
            co_return told;
        }
        QList<InboxRun> own;
        const auto files = folderOf(engine).files(m_ports.clock.now()).value_or(QList<WaitingFile>());
        for (const WaitingFile& file : files) {
            const auto job = std::make_shared<Job>(
                Job{.engine = engine, .file = file, .cancel = cancel, .records = records});
            const InboxRun run = co_await takeInTurn(job, whyNot);
            if (!alive) {
                co_return told;
            }
            whyNot = whyNot.isEmpty() ? job->agentIsMissing : whyNot;
            othersWorked = othersWorked || job->isGone;
            own += job->isGone ? QList<InboxRun>() : QList{run};
        }
        told += othersWorked ? endedBeside(records, before, own) + own : own;
    }
    co_return told;
}

/// Waits until no other process works for the engine. True when one did.
Task<bool> EngineInbox::turn(Engine engine, Cancel cancel) {
    const QPointer<EngineInbox> alive(this);
    const QString records = InboxFolder(m_ports.library.root(), engine.id).path();
    bool hasWaited = false;
    while (alive && !cancel->isCancelled && CaptureLock::isHeld(records)) {
        if (!std::exchange(hasWaited, true)) {
            Q_EMIT waitsForTurn(engine.name);
        }
        co_await m_ports.clock.sleep(look);
    }
    if (alive && hasWaited) {
        markInterrupted();
    }
    co_return hasWaited;
}

Task<InboxRun> EngineInbox::takeInTurn(JobPtr job, QString whyNot) {
    const QPointer<EngineInbox> alive(this);
    if (whyNot.isEmpty() && !job->file.isSettled) {
        whyNot = u"changed within the last 5 seconds"_s;
    }
    while (whyNot.isEmpty()) {
        co_await turn(job->engine, job->cancel);
        if (!alive) {
            co_return InboxRun();
        }
        if (job->cancel->isCancelled) {
            whyNot = u"stopped before it"_s;
            break;
        }
        InboxRun run = co_await takeWithAgent(job);
        if (!alive || !std::exchange(job->isBusy, false)) {
            co_return run;
        }
    }
    co_return waits(*job, whyNot);
}

/// What another process has made of files since, that would have been ours.
QList<InboxRun> EngineInbox::endedBeside(const InboxFolder& records, const QStringList& before,
                                         const QList<InboxRun>& own) {
    QList<InboxRun> theirs = records.runs(before);
    std::ranges::reverse(theirs);
    theirs.removeIf([&own](const InboxRun& run) {
        const bool isOwn = std::ranges::find(own, run.run, &InboxRun::run) != own.end();
        return isOwn || run.state == InboxRun::State::running;
    });
    for (InboxRun& run : theirs) {
        if (run.state == InboxRun::State::interrupted) {
            run.state = InboxRun::State::failed;
        }
    }
    return theirs;
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
