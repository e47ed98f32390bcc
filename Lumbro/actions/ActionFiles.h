#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/LockFile.h"
#include "LumbroCore/SpaceReserve.h"
#include "actions/formats/ActionRun.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// The folder of run files, `<library>/actions`. Several processes may use it at once.
class ActionFiles {
  public:
    explicit ActionFiles(const QString& libraryRoot);

    QString folder() const { return m_folder; }
    /// Makes the folder; a failure shows at the first write.
    void makeFolder() const;

    static void sortNewestFirst(QList<ActionRun>& runs);
    /// Every run that can be read, newest first. Other files are passed over and stay.
    QList<ActionRun> readAll() const;
    /// Those whose key begins like this one and may hence be the same.
    QList<ActionRun> readLike(const QString& key) const;
    std::optional<ActionRun> read(const QString& id) const;
    /// The run as it stands now: one that is queued or running while nobody works on it is interrupted. Where
    /// nobody can tell, it counts as under way for a day. Writes nothing.
    ActionRun settled(const ActionRun& run) const;
    /// Every run as it stands now, newest first. Writes nothing.
    QList<ActionRun> readSettled() const;

    using IsOurs = std::function<bool(const QString& id)>;
    /// All runs as their files have them, newest first, but those of this process as `known` has them: a live
    /// run whose file could not be written, or was removed, goes on.
    QList<ActionRun> readBeside(const QList<ActionRun>& known, const IsOurs& isOurs) const;
    /// The same where only the files of these runs may differ from `known`.
    QList<ActionRun> readAgain(const QStringList& ids, QList<ActionRun> known, const IsOurs& isOurs) const;
    /// Makes of the runs of other processes what has become of them, and writes which are interrupted since
    /// `now`. Gives their ids.
    QStringList settle(QList<ActionRun>& runs, const IsOurs& isOurs, const QDateTime& now) const;
    /// Writes the run's file, making the folder.
    Result<> write(const ActionRun& run) const;
    /// Space for the run's file as it will be when the run has ended, making the folder.
    std::unique_ptr<SpaceReserve> reserve(const ActionRun& run) const;

    /// A name that no file has.
    QString newID(const QDateTime& now, const QString& app, const QString& key) const;
    /// The file that marks a run as under way.
    QString lockPath(const QString& id) const;
    /// Removes what processes that have ended left behind: marks, and files half written.
    void sweep() const;

    /// The run waits for a place, in a process that lives.
    bool isWaiting(const QString& id) const;
    /// Those of other processes that do.
    QStringList waiting(const IsOurs& isOurs) const;
    /// One of the `count` places for runs under way, which all processes share; nothing when all are taken.
    std::optional<LockFile> takePlace(int count) const;
    /// Some place is free.
    bool hasPlace(int count) const;

    /// Asks the process that works on a run to stop it.
    Result<> askToStop(const QString& id) const;
    bool isAskedToStop(const QString& id) const;
    void forgetStop(const QString& id) const;

  private:
    QList<ActionRun> readMatching(const QString& pattern) const;
    QStringList hiddenNames(const QString& pattern) const;
    bool isDead(const QString& id) const;
    QString path(const QString& id) const;
    QString stopPath(const QString& id) const;
    QString placePath(int number) const;

    QString m_folder;
};

}  // namespace lumbro
