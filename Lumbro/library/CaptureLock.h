#pragma once

#include <QString>

namespace lumbro {

/// Marks a capture as under way, for other processes: a lock on its folder that ends with the process,
/// however it ends, and leaves no file behind.
class CaptureLock {
  public:
    /// Takes the lock. Where the folder or the file system gives none, this is empty and marks nothing.
    explicit CaptureLock(const QString& folder);
    CaptureLock(CaptureLock&& other) noexcept;
    CaptureLock& operator=(CaptureLock&& other) noexcept;
    ~CaptureLock();

    /// True when some lock is on the folder, this process's own included.
    static bool isHeld(const QString& folder);

  private:
    int m_descriptor = -1;
};

}  // namespace lumbro
