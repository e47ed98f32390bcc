#pragma once

#include "LumbroCore/BrokenCopy.h"

#include <QDateTime>
#include <QHash>
#include <QString>

namespace lumbro {

/// Tells the user, once for each state of a file, that it could not be read and was left alone.
class BrokenFiles {
  public:
    /// Logs "<file> can't be read<consequence>" unless that was said since the file last changed. The file is
    /// named with the last two folders of its path.
    void report(const QString& path, const QString& consequence = {});

    /// `keepBrokenCopy`.
    static bool keepCopy(const QString& path) { return keepBrokenCopy(path); }

  private:
    QHash<QString, QDateTime> m_reported;
};

}  // namespace lumbro
