#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumbro {

/// Marks something as under way, for other processes and for this one: a file that is locked until the
/// process ends, however it ends, and that goes with the lock.
class LockFile {
  public:
    /// Tries to take the lock, at once.
    explicit LockFile(const QString& path);
    LockFile(LockFile&& other) noexcept;
    LockFile& operator=(LockFile&& other) = delete;
    ~LockFile();

    /// Whether somebody has it now. Nothing where nobody can tell, as on a file system without locks. Makes
    /// no file.
    static std::optional<bool> isTaken(const QString& path);

    /// Nobody else has it. True as well where the file can't be made or the file system has no locks.
    bool isMine() const { return m_isMine; }

  private:
    QByteArray m_path;
    int m_descriptor = -1;
    bool m_isMine = true;
};

}  // namespace lumbro
