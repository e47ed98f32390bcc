#pragma once

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

    /// Copies a file that is about to be replaced to "<path>.broken", or ".broken-2" and so on when that
    /// holds something else. True when the copy is there.
    static bool keepCopy(const QString& path);

  private:
    QHash<QString, QDateTime> m_reported;
};

}  // namespace lumbro
