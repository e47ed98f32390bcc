#include "actions/ActionRunner.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"
#include "chats/formats/Redact.h"
#include "runners/AgentText.h"

#include <QPointer>

#include <algorithm>
#include <ranges>
#include <tuple>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

using Status = ActionRun::Status;

constexpr int mostAttempts = 4;
constexpr auto attemptPause = 3s;
constexpr auto watchInterval = 1s;
constexpr auto followInterval = 2s;
constexpr qsizetype longestSummary = 140;

const QString& tag() {
    static const QString word = u"action"_s;
    return word;
}

QString notConnected(const QString& app) {
    return u"%1 isn't connected any more. Check Claude: Settings → Connectors."_s.arg(app);
}

std::optional<ActionRun> firstOf(const QList<ActionRun>& runs, const auto& isWanted) {
    const auto found = std::ranges::find_if(runs, isWanted);
    return found == runs.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

ActionRunner::ActionRunner(Clock& clock, AgentProvider& agent, FindConnector connector,
                           const QString& libraryRoot)
    : m_clock(clock),
      m_agent(agent),
      m_connector(std::move(connector)),
      m_files(libraryRoot),
      m_turns(clock, m_files) {}

ActionRunner::~ActionRunner() {
    for (const auto& handle : std::as_const(m_handles)) {
        handle->cancel();
    }
}

std::optional<ActionRun> ActionRunner::run(const QString& id) const {
    return firstOf(m_runs, [&](const ActionRun& each) { return each.id == id; });
}

bool ActionRunner::hasActive() const {
    return std::ranges::any_of(m_runs, &ActionRun::isLive);
}

std::optional<ActionRun> ActionRunner::latest(const QString& connectorID, const QString& content) const {
    const QString key = ActionRun::keyFor(connectorID, content);
    return firstOf(m_runs, [&](const ActionRun& each) { return each.key == key; });
}

std::optional<ActionRun> ActionRunner::latest(const QString& content) const {
    const QString text = content.trimmed();
    return firstOf(m_runs, [&](const ActionRun& each) { return each.content.trimmed() == text; });
}

void ActionRunner::load() {
    if (std::exchange(m_loaded, true)) {
        return;
    }
    m_files.makeFolder();
    m_files.sweep();
    reload();
}

void ActionRunner::reload() {
    m_loaded = true;
    show(m_files.readBeside(m_runs, whichAreOurs()));
}

void ActionRunner::follow() {
    load();
    m_changes.emplace(m_files.folder());
    m_following.start(m_clock, followInterval, Clock::Repeat::always, [this] { catchUp(); });
}

void ActionRunner::catchUp() {
    if (const auto ids = m_changes->changed(); !ids) {
        reload();
    } else if (!ids->isEmpty()) {
        show(m_files.readAgain(*ids, m_runs, whichAreOurs()));
    }
}

ActionFiles::IsOurs ActionRunner::whichAreOurs() const {
    return [this](const QString& id) { return isOurs(id); };
}

void ActionRunner::show(QList<ActionRun> runs) {
    const QStringList dead = m_files.settle(runs, whichAreOurs(), m_clock.now());
    const bool isChanged = std::exchange(m_runs, runs) != runs;
    keepLooking();
    const QPointer<ActionRunner> alive(this);
    if (isChanged) {
        Q_EMIT runsChanged();
    }
    for (const QString& id : dead) {
        if (alive) {
            Q_EMIT interrupted(id);
        }
    }
}

void ActionRunner::keepLooking() {
    if (!hasActive() && m_locks.empty()) {
        m_watch.stop();
    } else if (!m_watch.isRunning()) {
        m_watch.start(m_clock, watchInterval, Clock::Repeat::always, [this] { look(); });
    }
}

void ActionRunner::look() {
    const QPointer<ActionRunner> alive(this);
    const QList<ActionRun> runs = m_runs;
    for (const ActionRun& each : runs) {
        if (!alive || !isOurs(each.id)) {
            continue;
        }
        if (!each.isLive()) {
            std::ignore = fileEnd(each);
        } else if (m_files.isAskedToStop(each.id)) {
            m_files.forgetStop(each.id);
            stop(each.id);
        }
    }
    if (alive) {
        show(m_runs);
    }
    if (alive) {
        pump();
    }
}

Result<ActionRun> ActionRunner::submit(const Connector& connector, const ActionRequest& request) {
    load();
    show(m_runs);
    const QString key = ActionRun::keyFor(connector.id, request.content);
    const auto isSame = [&](const ActionRun& each) { return each.isLive() && each.key == key; };
    if (const auto live = firstOf(m_runs, isSame)) {
        return *live;
    }
    const auto filed = findOrFile(connector, request, key);
    if (!filed) {
        return filed;
    }
    QList<ActionRun> runs = m_runs;
    runs.prepend(*filed);
    show(std::move(runs));
    if (isOurs(filed->id)) {
        AppLog::info(tag(), u"queued %1: "_s.arg(filed->id) + firstCharacters(filed->instruction, 120));
        pump();
    }
    return run(filed->id).value_or(*filed);
}

/// The run that another process has under way for the same, or a new one.
Result<ActionRun> ActionRunner::findOrFile(const Connector& connector, const ActionRequest& request,
                                           const QString& key) {
    m_files.makeFolder();
    const FolderLock lock(m_files.folder());
    for (const ActionRun& other : m_files.readLike(key)) {
        const bool mayBeSame = other.key == key && other.isLive() && !isOurs(other.id);
        if (mayBeSame && m_files.settled(other).isLive()) {
            return other;
        }
    }
    const ActionRun made = make(connector, request, key);
    m_turns.join(made.id, whichAreOurs());
    m_locks.emplace(made.id, LockFile(m_files.lockPath(made.id)));
    if (const auto written = m_files.write(made); !written) {
        m_turns.leave(made.id);
        m_locks.erase(made.id);
        return fail(u"Nothing was sent: %1."_s.arg(written.error().message));
    }
    return made;
}

ActionRun ActionRunner::make(const Connector& connector, const ActionRequest& request,
                             const QString& key) const {
    const QDateTime now = m_clock.now();
    return {.id = m_files.newID(now, connector.app, key),
            .key = key,
            .app = connector.app,
            .connectorID = connector.id,
            .icon = connector.icon,
            .instruction = request.instruction,
            .content = request.content,
            .about = request.about,
            .captureID = request.captureID,
            .askThread = request.askThread,
            .status = Status::queued,
            .started = now};
}

Result<ActionRun> ActionRunner::retry(const ActionRun& run) {
    const auto connector = m_connector(run.connectorID);
    if (!connector) {
        return fail(notConnected(run.app));
    }
    return submit(*connector, ActionRequest::again(run));
}

void ActionRunner::stop(const QString& id) {
    const auto found = run(id);
    if (!found || !found->isLive()) {
        return;
    }
    if (!isOurs(id)) {
        if (const auto asked = m_files.askToStop(id); !asked) {
            AppLog::error(tag(), asked.error().message);
        }
    } else if (found->status == Status::queued) {
        finish(*found, Status::stopped);
    } else if (const auto handle = m_handles.value(id)) {
        handle->cancel();
    }
}

void ActionRunner::pump() {
    const auto isWaiting = [this](const ActionRun& each) {
        return each.status == Status::queued && isOurs(each.id) && !m_handles.contains(each.id);
    };
    while (m_handles.size() < ActionTurns::mostRunning) {
        // Newest first, so the last is the one that has waited longest.
        const auto found = std::ranges::find_if(std::views::reverse(m_runs), isWaiting);
        if (found == std::views::reverse(m_runs).end() || !m_turns.take(found->id)) {
            return;
        }
        execute(*found);
    }
}

void ActionRunner::execute(ActionRun run) {
    const auto connector = m_connector(run.connectorID);
    if (!connector) {
        finish(run, Status::failed, notConnected(run.app));
        return;
    }
    // A disk that fills up meanwhile shall not cost the record of what was changed.
    auto room = m_files.reserve(run);
    if (!room->isHeld()) {
        finish(run, Status::failed, u"Nothing was sent: %1."_s.arg(room->problem(u"its result"_s)));
        return;
    }
    ActionRun started = run;
    started.status = Status::running;
    // Whoever finds the file of a run that was cut off must see that it may have changed something.
    if (const auto written = m_files.write(started); !written) {
        finish(run, Status::failed, u"Nothing was sent: %1."_s.arg(written.error().message));
        return;
    }
    m_rooms.emplace(run.id, std::move(room));
    const auto handle = std::make_shared<CancellationHandle>();
    m_handles.insert(run.id, handle);
    update(started);
    runDetached(carryOut(started, agentRequest(started, *connector), handle));
}

Task<> ActionRunner::carryOut(ActionRun run, AgentRequest request, Handle handle) {
    const QPointer<ActionRunner> alive(this);
    Result<QString> output;
    Clock::Duration begun{0};
    for (int attempt = 1;; ++attempt) {
        begun = m_clock.elapsed();
        output = co_await m_agent.run(request, handle);
        if (!alive) {
            co_return;
        }
        const bool isLate = !output && output.error().kind == FailureKind::toolsNotReady;
        if (!isLate || attempt == mostAttempts) {
            break;
        }
        AppLog::info(tag(), u"%1: %2 tools not loaded yet (attempt %3), starting again"_s.arg(
                                run.id, run.app, QString::number(attempt)));
        co_await m_clock.sleep(attemptPause);
        if (!alive) {
            co_return;
        }
        if (handle->isCancelled) {
            output = std::unexpected(agents::cancelled());
            break;
        }
    }
    m_handles.remove(run.id);
    if (output) {
        complete(run, *output);
    } else {
        giveUp(run, output.error(), m_clock.elapsed() - begun >= *request.timeout);
    }
    if (alive) {
        pump();
    }
}

void ActionRunner::complete(ActionRun run, const QString& output) {
    const auto report = Report::in(output);
    if (!report) {
        run.summary.clear();
        finish(run, Status::unconfirmed,
               u"No result report. Claude said: "_s + lastCharacters(Redact::secrets(output), 300));
        return;
    }
    run.summary = firstCharacters(report->summary, longestSummary);
    run.items = report->items;
    const Status status = report->finalStatus();
    std::optional<QString> error;
    if (status == Status::failed) {
        error = report->summary;
    } else if (report->isContradicted) {
        error = u"Claude reported two different results."_s;
    }
    finish(run, status, error);
}

void ActionRunner::giveUp(const ActionRun& run, const Failure& failure, bool isTimeUp) {
    switch (failure.kind) {
        case FailureKind::timedOut:
            finish(run, Status::unconfirmed,
                   isTimeUp ? u"It ran for over 10 minutes and was stopped."_s
                            : u"Claude Code was ended before it could report."_s);
            break;
        case FailureKind::cancelled:
            finish(run, Status::stopped);
            break;
        case FailureKind::toolsNotReady:
            finish(run, Status::failed,
                   u"%1 didn't load in time, so nothing was changed. Try again in a minute."_s.arg(run.app));
            break;
        default:
            finish(run, Status::failed, failure.message);
    }
}

void ActionRunner::finish(ActionRun run, Status status, const std::optional<QString>& error) {
    run.neverStarted = run.status == Status::queued;
    run.status = status;
    run.finished = m_clock.now();
    run.error = error ? error : run.error;
    const QPointer<ActionRunner> alive(this);
    AppLog::info(tag(), u"%1 %2: "_s.arg(ActionRun::rawValue(status), run.id) +
                            (run.summary.isEmpty() ? run.error.value_or(QString()) : run.summary));
    m_turns.leave(run.id);
    if (const auto filed = fileEnd(run); !filed) {
        AppLog::error(tag(), filed.error().message);
    }
    update(run);
    if (alive) {
        Q_EMIT finished(run);
    }
}

/// Until it succeeds the run stays ours, and counts as under way for other processes.
Result<> ActionRunner::fileEnd(const ActionRun& run) {
    m_rooms.erase(run.id);
    auto written = m_files.write(run);
    if (written) {
        m_files.forgetStop(run.id);
        m_locks.erase(run.id);
    }
    return written;
}

void ActionRunner::update(const ActionRun& run) {
    const auto place = std::ranges::find(m_runs, run.id, &ActionRun::id);
    if (place != m_runs.end()) {
        *place = run;
    }
    keepLooking();
    Q_EMIT runsChanged();
}

}  // namespace lumbro
