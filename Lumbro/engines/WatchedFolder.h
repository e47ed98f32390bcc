#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

namespace lumbro {

/// A file that lies in a watched folder.
struct WaitingFile {
    /// As the file system has it, which need not be text.
    QByteArray rawName;
    /// For people and agents: one line without control characters.
    QString name;
    QDateTime modified;
    /// Old enough to be whole.
    bool isSettled = false;

    bool operator==(const WaitingFile&) const = default;
};

/// The folder that an engine takes files from. Any thread.
class WatchedFolder {
  public:
    explicit WatchedFolder(QString path) : m_path(std::move(path)) {}

    const QString& path() const { return m_path; }
    /// Why nothing can be taken from it, for people; empty when it can. The folders of the library itself are
    /// not watched.
    QString problem(const QString& libraryRoot) const;
    /// The plain files, oldest first. Names that begin with "." or end in ".icloud" are left out, and so are
    /// links, folders and devices. Fails with a sentence when the folder can't be read.
    Result<QList<WaitingFile>> files(const QDateTime& now) const;
    /// Whether anything of this name lies in it.
    bool has(const QByteArray& rawName) const;

    /// Moves a file out to `destination`, on another file system by copying it. False when there is nothing
    /// to move: the file has gone, another process takes it, or it is still being written. On a failure it
    /// stands where it was.
    Result<bool> take(const QByteArray& rawName, const QString& destination) const;

  private:
    QByteArray rawPath(const QByteArray& rawName) const;
    Result<bool> copyAndRemove(const QByteArray& source, const QString& destination) const;

    QString m_path;
};

}  // namespace lumbro
