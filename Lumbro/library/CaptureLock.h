#pragma once

#include <QString>

namespace lumbro {

/// Marks a capture as under way, for other processes: a lock on its folder that ends with the process,
/// however it ends, and leaves no file behind.
class CaptureLock {
  public:
    /// Takes the lock, waiting up to 50 ms for another one's look at it. Where the file system gives
    /// none, this marks nothing.
    explicit CaptureLock(const QString& folder);
    CaptureLock(CaptureLock&& other) noexcept;
    CaptureLock& operator=(CaptureLock&& other) noexcept;
    ~CaptureLock();

    /// False when the folder is gone or another one has the lock.
    bool isLocked() const { return m_descriptor >= 0; }
    /// True when some lock is on the folder, this process's own included.
    static bool isHeld(const QString& folder);

  private:
    int m_descriptor = -1;
};

}  // namespace lumbro
