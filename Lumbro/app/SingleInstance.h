#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

namespace lumbro {

/// One running application per library. Held by a lock file in the runtime folder, and by a name on the
/// session bus where there is one, under which other programs find the application. Both go with the process,
/// however it ends.
class SingleInstance {
  public:
    explicit SingleInstance(const QString& libraryRoot);
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;
    ~SingleInstance();

    /// Fails with a sentence when another application serves this library.
    Result<> acquire();
    /// The bus name of the application that serves this library.
    const QString& busName() const { return m_busName; }

  private:
    bool lockFile();

    QString m_root;
    QString m_busName;
    QString m_lockPath;
    int m_descriptor = -1;
    bool m_hasName = false;
};

}  // namespace lumbro
