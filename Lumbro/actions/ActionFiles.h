#pragma once

#include "LumbroCore/Failure.h"
#include "actions/RunLock.h"
#include "actions/formats/ActionRun.h"

#include <QDateTime>
#include <QList>
#include <QString>

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
    /// The run as it stands now: one that is queued or running while nobody works on it is interrupted. With
    /// the folder locked, so that nobody else looks at the same moment. Writes nothing.
    ActionRun settled(const ActionRun& run) const;
    /// Every run as it stands now, newest first. Writes nothing.
    QList<ActionRun> readSettled() const;
    /// Writes the run's file, making the folder.
    Result<> write(const ActionRun& run) const;

    /// A name that no file has.
    QString newID(const QDateTime& now, const QString& app, const QString& key) const;
    /// The file that marks a run as under way.
    QString lockPath(const QString& id) const;
    /// Removes what processes that have ended left behind.
    void removeStaleMarks() const;

    /// One of the `count` places for runs under way, which all processes share; nothing when all are taken.
    std::optional<RunLock> takePlace(int count) const;

    /// Asks the process that works on a run to stop it.
    Result<> askToStop(const QString& id) const;
    bool isAskedToStop(const QString& id) const;
    void forgetStop(const QString& id) const;

  private:
    QList<ActionRun> readMatching(const QString& pattern) const;
    QString path(const QString& id) const;
    QString stopPath(const QString& id) const;

    QString m_folder;
};

}  // namespace lumbro
