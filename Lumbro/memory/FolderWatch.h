#pragma once

#include "LumbroCore/FolderWatches.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace lumbro {

/// Saves whoever looks at some folders again and again from looking at each file: the kernel tells when
/// something happens in them. It tells nothing of files behind links and of folders that are moved with their
/// parents, so that a look at all files stays due every few seconds.
class FolderWatch {
  public:
    explicit FolderWatch(QStringList folders);

    /// True when nothing has happened since the last look at all files, which was a moment ago.
    bool isQuiet();
    /// To be called before each look at all files. Watching begins with the sixth one, since it is dear to
    /// begin and to end.
    void beginLook();

  private:
    bool hasEvents();

    QStringList m_folders;
    std::optional<FolderWatches> m_watches;
    bool m_isWatchingAll = false;
    int m_looks = 0;
    std::chrono::steady_clock::time_point m_looked;
};

}  // namespace lumbro
