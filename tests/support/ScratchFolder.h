#pragma once

#include "LumbroCore/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

namespace lumbro::test {

/// A folder of its own for one test, gone at its end.
class ScratchFolder {
  public:
    QString path() const { return m_folder.path(); }
    QString path(const QString& name) const { return m_folder.filePath(name); }

    /// Writes a file, making its folder.
    void write(const QString& name, const QByteArray& bytes) const {
        QDir().mkpath(QFileInfo(path(name)).absolutePath());
        QFile file(path(name));
        if (file.open(QIODevice::WriteOnly)) {
            file.write(bytes);
        }
    }
    QByteArray read(const QString& name) const { return readFile(path(name)).value_or(QByteArray()); }
    bool has(const QString& name) const { return QFileInfo::exists(path(name)); }

  private:
    QTemporaryDir m_folder;
};

}  // namespace lumbro::test
