#pragma once

#include "LumbroCore/Failure.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// What became of one file for a watched folder's engine.
struct InboxRun {
    enum class State { done, failed, skipped, interrupted, running, waiting };

    /// Ids and names, not paths. Without a run the file still waits.
    QString engine{};
    QString file{};
    QString run{};
    State state = State::waiting;
    /// One line: the reply's first one, or why not.
    QString message{};
    /// The folder of the run; empty without one.
    QString folder{};
    /// Of a failed run: the agent's whole answer, when it could not be filed.
    QString reply{};

    bool operator==(const InboxRun&) const = default;
};

/// "done", "failed", "skipped", "interrupted", "running" or "waiting".
QString rawValue(InboxRun::State state);

/// The records of one engine below `inbox` in the library: a folder for each file that was taken, and the
/// list of contents that are done. Changes need the lock of `path` (CaptureLock). Any thread.
class InboxFolder {
  public:
    InboxFolder(const QString& libraryRoot, const QString& engineID);

    /// The ids of all engines that have records.
    static QStringList engines(const QString& libraryRoot);

    const QString& path() const { return m_path; }
    /// Makes the folder of a new run and gives its path.
    Result<QString> makeRun(const QDateTime& now, const QString& fileName) const;
    /// Where a file of this name stands in the folder of its run; never where a result or an error goes.
    static QString placeIn(const QString& run, const QString& fileName);

    /// The first line of a reply that isn't empty, at most 90 characters of it.
    static QString firstLine(const QString& text);
    /// Writes why a run's file came to nothing, on one line.
    static Result<> writeError(const QString& run, const QString& line);
    /// Also in place of an error that was written before.
    static Result<> writeResult(const QString& run, const QString& text);

    /// Says so in every run that has neither result nor error, and gives their names. Folders that hold
    /// nothing, since their file was never taken, go.
    QStringList markInterrupted() const;

    /// The run that this content was done in.
    std::optional<QString> runOf(const QString& hash) const;
    Result<> remember(const QString& hash, const QString& run) const;

    /// The runs, newest first; those of `without` are passed over.
    QList<InboxRun> runs(const QStringList& without = {}) const;
    /// The names of the runs that have come to an end.
    QStringList endedRuns() const;

  private:
    InboxRun describe(const QString& name) const;

    QString m_engine;
    QString m_path;
};

}  // namespace lumbro
