#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Task.h"

#include <QString>

#include <memory>

namespace lumbro {

/// Keeps our other processes, and other changes of this one, from changing the memory meanwhile. Makes the
/// memory's folders where they are missing.
class MemoryLock {
  public:
    /// Tries once. `root` is the memory's folder.
    explicit MemoryLock(const QString& root);

    /// Why there is none: `notFound` without a folder, `timedOut` when another one has it.
    Result<> held() const;

    /// Tries for five seconds, without holding up the thread. `clock` must outlive that.
    static Task<std::unique_ptr<MemoryLock>> wait(QString root, Clock* clock);

  private:
    QString m_root;
    bool m_hasFolders;
    FolderLock m_lock;
};

}  // namespace lumbro
