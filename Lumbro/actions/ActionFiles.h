#pragma once

#include "LumbroCore/Failure.h"
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

    /// Every run that can be read, newest first. Other files are passed over and stay.
    QList<ActionRun> readAll() const;
    /// Those whose key begins like this one and may hence be the same.
    QList<ActionRun> readLike(const QString& key) const;
    std::optional<ActionRun> read(const QString& id) const;
    /// Writes the run's file, making the folder.
    Result<> write(const ActionRun& run) const;

    /// A name that no file has.
    QString newID(const QDateTime& now, const QString& app, const QString& key) const;
    /// The file that marks a run as under way.
    QString lockPath(const QString& id) const;
    /// Removes the marks of processes that have ended.
    void removeStaleLocks() const;

  private:
    QList<ActionRun> readMatching(const QString& pattern) const;
    QString path(const QString& id) const;

    QString m_folder;
};

}  // namespace lumbro
