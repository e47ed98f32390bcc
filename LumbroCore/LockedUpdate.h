#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

namespace lumbro {

/// Keeps our other processes, and other locks of this one, from changing the files of a folder meanwhile. The
/// lock ends with the process, however it ends, and leaves no file behind. Editors know nothing of it.
class FolderLock {
  public:
    /// Waits up to `bound` for the others. On a file system without locks it is had at once.
    explicit FolderLock(const QString& folder, std::chrono::milliseconds bound = std::chrono::seconds(5));
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock();

    /// False when the folder is missing or another one kept the lock.
    bool isLocked() const { return m_descriptor >= 0; }

  private:
    int m_descriptor = -1;
};

/// Makes a file's new bytes out of those it has, or out of nothing when there is no file. Nothing as result
/// leaves the file alone. May be called several times.
using FileChange = std::function<std::optional<QByteArray>(const std::optional<QByteArray>& bytes)>;

/// Changes a file that others may change too, whole or not at all: should it have become another one by the
/// moment that it is replaced, by an editor say, the change is made anew on that. Only what a program writes
/// into a file that it has kept open all along is lost. Behind a link, the file it leads to is replaced; the
/// new one has mode 0600. True when it was written; false when it was to stay as it is. A file that is there
/// and cannot be read is a failure, with a sentence that names it. The caller has the folder's lock. Any
/// thread.
Result<bool> updateFile(const QString& path, const FileChange& change);

/// Removes what updates of files in the folder left behind when their processes were killed before
/// `olderThan`, and gives the names. What the updated file does not hold, such as an editor's text, goes to
/// the Trash, which the log tells; without a Trash it stays. The caller has the folder's lock.
QStringList removeUnfinishedUpdates(const QString& folder, const QDateTime& olderThan);

}  // namespace lumbro
