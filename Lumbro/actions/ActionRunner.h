#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/SpaceReserve.h"
#include "actions/ActionFiles.h"
#include "actions/ActionRequest.h"
#include "actions/ActionTurns.h"
#include "actions/ActionWatch.h"
#include "actions/formats/ActionReport.h"
#include "actions/formats/ActionRun.h"
#include "actions/formats/Connector.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace lumbro {

/// Carries work into connected apps: a queue of runs, of which at most two are under way, in whatever
/// process. Every run is a file, written on each change: none starts that can't be filed, and an end that
/// can't is filed as soon as it can. Runs of other processes are shown and never touched while those live.
/// Main thread. The clock and the agent must outlive it; when it goes, what runs is cancelled and becomes
/// interrupted at the next load.
class ActionRunner final : public QObject {
    Q_OBJECT

  public:
    using Report = ActionReport;
    /// The connector with this id, if it is still there.
    using FindConnector = std::function<std::optional<Connector>(const QString& id)>;

    /// `agent` must be one that can load connectors.
    ActionRunner(Clock& clock, AgentProvider& agent, FindConnector connector, const QString& libraryRoot);
    ~ActionRunner() override;

    /// Newest first.
    const QList<ActionRun>& runs() const { return m_runs; }
    /// The run, or nothing.
    std::optional<ActionRun> run(const QString& id) const;
    /// The run is queued or running in this process, or its end is still to be filed by it.
    bool isOurs(const QString& id) const { return m_locks.contains(id); }
    /// Some run is queued or running, here or in another process.
    bool hasActive() const;
    /// The newest run of this content to this connector.
    std::optional<ActionRun> latest(const QString& connectorID, const QString& content) const;
    /// The newest run of this content to any connector.
    std::optional<ActionRun> latest(const QString& content) const;

    /// Reads all run files, once. What was under way in a process that has ended becomes interrupted.
    void load();
    /// Reads them again, for what other processes have added and finished meanwhile.
    void reload();
    /// From now on shows what other processes send, as it happens.
    void follow();
    /// Queues the work, or gives the run that is already under way with the same content and connector. Fails
    /// with a sentence when it can't be filed.
    Result<ActionRun> submit(const Connector& connector, const ActionRequest& request);
    /// Sends the same work again; fails as well when the connector is gone.
    Result<ActionRun> retry(const ActionRun& run);
    /// Ends a run: a queued one of this process at once, a running one when its agent has gone, one of
    /// another process when that has seen the request. Nothing for one that has ended.
    void stop(const QString& id);

  Q_SIGNALS:
    void runsChanged();
    /// A run of this process has got its final status.
    void finished(const lumbro::ActionRun& run);
    /// A run was found that ended with its process.
    void interrupted(const QString& runID);

  private:
    using Handle = std::shared_ptr<CancellationHandle>;

    ActionRun make(const Connector& connector, const ActionRequest& request, const QString& key) const;
    Result<ActionRun> findOrFile(const Connector& connector, const ActionRequest& request,
                                 const QString& key);
    ActionFiles::IsOurs whichAreOurs() const;
    void show(QList<ActionRun> runs);
    void catchUp();
    void look();
    void keepLooking();
    void pump();
    void execute(ActionRun run);
    Task<> carryOut(ActionRun run, AgentRequest request, Handle handle);
    void complete(ActionRun run, const QString& output);
    void giveUp(const ActionRun& run, const Failure& failure, bool isTimeUp);
    void finish(ActionRun run, ActionRun::Status status, const std::optional<QString>& error = {});
    Result<> fileEnd(const ActionRun& run);
    void update(const ActionRun& run);

    Clock& m_clock;
    AgentProvider& m_agent;
    FindConnector m_connector;
    ActionFiles m_files;
    QList<ActionRun> m_runs;
    QMap<QString, Handle> m_handles;
    /// The runs of this process.
    std::map<QString, LockFile> m_locks;
    ActionTurns m_turns;
    /// For the ends of those that are running, on a disk that fills up meanwhile.
    std::map<QString, std::unique_ptr<SpaceReserve>> m_rooms;
    Timer m_watch;
    std::optional<ActionWatch> m_changes;
    Timer m_following;
    bool m_loaded = false;
};

}  // namespace lumbro
