#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QSet>

#include <functional>
#include <mutex>

namespace lumbro {

/// Tells of changes to the files in folders without looking at them, by the kernel's own notes. Uses a part
/// only of what the user's programs may watch together.
class FolderWatches {
  public:
    FolderWatches();
    FolderWatches(const FolderWatches&) = delete;
    FolderWatches& operator=(const FolderWatches&) = delete;
    ~FolderWatches();

    /// Whether changes below `folder` are told at all: not those that another machine makes on a shared disk.
    bool areTold(const QByteArray& folder) const;
    /// Begins to watch; what changes from now on will be told. Gives the folder's number, the same for the
    /// same folder, or -1 when it can't be watched. Any thread.
    int add(const QByteArray& folder);
    void remove(int number);
    /// Gives the changes since the last call: the folder's number and the name in it, empty for the folder
    /// itself. False when some were lost. Never waits.
    bool take(const std::function<void(int number, QByteArrayView name)>& change);

  private:
    int m_notes = -1;
    std::mutex m_mutex;
    int m_most = 0;
    QSet<int> m_numbers;
};

}  // namespace lumbro
