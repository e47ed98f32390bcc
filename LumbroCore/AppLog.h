#pragma once

#include "LumbroCore/Literals.h"

#include <QDateTime>
#include <QString>

namespace lumbro {

/// The application's log: one text file that a user can send in, and the system log beside it.
class AppLog {
  public:
    /// Appends one line, "<time> <LEVEL> [<tag>] <message>". Level is "INFO" or "ERROR". Any thread; returns
    /// at once. A line that cannot be written is lost silently.
    static void write(const QString& level, const QString& tag, const QString& message);
    static void info(const QString& tag, const QString& message) { write(u"INFO"_s, tag, message); }
    static void error(const QString& tag, const QString& message) { write(u"ERROR"_s, tag, message); }
    /// Like `error`, unless the end of the file holds the same line from `since` or later: what each process
    /// meets anew is told once. Reads the file.
    static void errorOnce(const QString& tag, const QString& message, const QDateTime& since);

    /// The log file's path. Makes its folder when that is missing.
    static QString url();

    /// Waits until every line handed in so far is in the file. For the end of the process, and for tests.
    static void flush();
};

}  // namespace lumbro
