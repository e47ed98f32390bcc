#pragma once

#include "library/LinkFence.h"
#include "library/SummaryCache.h"
#include "memory/MemoryFault.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumbro {

/// One file of the memory that is read whole.
class ListFile {
  public:
    explicit ListFile(QString path, ReadGuard mayRead = {});

    const QString& path() const { return m_path; }
    /// Looks at the file's metadata only. True when it is not what was read last.
    bool hasChanged() const;
    /// False when the file may have changed since without its metadata telling.
    bool isSettled() const { return m_isSettled; }
    /// Reads the file. True when `bytes` are others now.
    bool read();
    /// The file's bytes as they were read last; empty when it was missing or could not be read, which is
    /// logged.
    const QByteArray& bytes() const { return m_bytes; }
    /// What was wrong with the file at the last `read`.
    const std::optional<MemoryFault>& fault() const { return m_fault; }

  private:
    QString m_path;
    ReadGuard m_mayRead;
    QByteArray m_bytes;
    FileStamp m_stamp;
    bool m_isSettled = false;
    std::optional<MemoryFault> m_fault;
};

}  // namespace lumbro
