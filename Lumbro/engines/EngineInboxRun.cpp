#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/InBackground.h"
#include "engines/EngineInboxJob.h"
#include "engines/formats/EngineInput.h"

#include <QDir>
#include <QPointer>

#include <utility>

// One file's way through an engine: taken from its folder, worked on by the agent, its end filed.
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

QString notFiled(const QString& reason) {
    return u"The agent was done, but its answer couldn't be filed: %1."_s.arg(reason);
}

}  // namespace

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
    job.isBusy = !job.lock.isLocked();
    if (job.isBusy) {
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
    job.room = std::make_unique<SpaceReserve>(*run);
    if (!job.room->isHeld()) {
        QDir().rmdir(*run);
        return couldNotTake(job, job.room->problem(u"its result"_s));
    }
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
    const Taken taken = co_await inBackground([source = job->watched(), name = job->file.rawName,
                                               place = job->place] { return take(source, name, place); });
    if (!alive) {
        co_return InboxRun();
    }
    if (!taken.moved || !*taken.moved) {
        QDir().rmdir(job->run);
        setRunning(job->engine.id, {});
        job->isGone = taken.moved && !job->watched().has(job->file.rawName);
        co_return taken.moved ? waits(*job, u"taken by another process, or still being written"_s)
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
    job->room->release();
    Result<> written = InboxFolder::writeResult(job->run, reply);
    if (!written && job->waitsForRoom) {
        const QString reason = written.error().message;
        AppLog::error(u"inbox"_s, job->line(reason + u"; trying again"_s));
        m_ports.tell(u"%1 is done, but its result can't be filed: %2. Make room; Lumbro tries again."_s.arg(
                         job->engine.name, reason),
                     true);
        // What is true if the process ends before there is room: nobody interrupted the agent.
        note(*job,
             u"Failed: "_s + notFiled(reason) + u" Lumbro kept it and tried again until it was closed."_s);
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
        InboxRun lost = finish(*job, InboxRun::State::failed, notFiled(written.error().message));
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

void EngineInbox::note(const Job& job, const QString& error) {
    if (const auto written = InboxFolder::writeError(job.run, error); !written) {
        AppLog::error(u"inbox"_s, job.line(written.error().message));
    }
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
    job.room->release();
    if (!error.isEmpty()) {
        note(job, error);
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
    complainOnce(job.path(), job.line(u"couldn't take %1 from %2: %3"_s.arg(job.file.name,
                                                                            job.watched().path(), reason)));
    return waits(job, u"couldn't be taken: "_s + reason, InboxRun::State::failed);
}

}  // namespace lumbro
