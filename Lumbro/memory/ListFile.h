#pragma once

#include "library/SummaryCache.h"
#include "memory/MemoryFault.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumbro {

/// One file of the memory that is read whole.
class ListFile {
  public:
    explicit ListFile(QString path);

    const QString& path() const { return m_path; }
    /// Looks at the file's metadata only. True when it is not what was read last.
    bool hasChanged() const;
    /// False when the file may have changed since without its metadata telling.
    bool isSettled() const { return m_isSettled; }
    /// The file's bytes; empty when it is missing or cannot be read, which is logged.
    QByteArray read();
    /// What was wrong with the file at the last `read`.
    const std::optional<MemoryFault>& fault() const { return m_fault; }

  private:
    QString m_path;
    FileStamp m_stamp;
    bool m_isSettled = false;
    std::optional<MemoryFault> m_fault;
};

}  // namespace lumbro
