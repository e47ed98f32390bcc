#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/LockFile.h"
#include "actions/ActionFiles.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <map>
#include <optional>

namespace lumbro {

/// Whose turn it is among the runs of all processes: two are under way at a time, and those that were sent
/// earlier go first. A process that doesn't take its turn, as one that is suspended, is passed over after a
/// moment; one that has ended, at once. Main thread. Clock and files must outlive it.
class ActionTurns {
  public:
    static constexpr int mostRunning = 2;

    ActionTurns(Clock& clock, const ActionFiles& files) : m_clock(clock), m_files(files) {}

    /// The run waits from now on, behind all runs of other processes that wait already. The caller has the
    /// folder's lock, so that of two that are sent at once one is behind the other.
    void join(const QString& id, const ActionFiles::IsOurs& isOurs);
    /// Takes a place for the run; false while there is none for it.
    bool take(const QString& id);
    /// The run needs no place any more.
    void leave(const QString& id);

  private:
    bool isHeldBack(const QString& id);

    Clock& m_clock;
    const ActionFiles& m_files;
    /// By run: those that go first.
    QMap<QString, QStringList> m_before;
    std::map<QString, LockFile> m_places;
    /// Since when a place is free that those which go first leave alone.
    std::optional<Clock::Duration> m_freeSince;
};

}  // namespace lumbro
