#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// Where a command line tool may be installed.
struct ExecutableSearch {
    QString name;
    /// The setting that remembers its path.
    QString setting;
    /// Full paths in order; "~" at the start is the home folder.
    QStringList places;
};

/// The remembered path when it still is an executable file; else the first of the places, of the Node
/// versions of nvm and of "/usr/bin"; else the first on our own PATH; else what the login shell finds. A new
/// find is remembered. Main thread; the settings and the clock must outlive it.
Task<std::optional<QString>> locateExecutable(Settings& settings, Clock& clock, ExecutableSearch search);

/// Our own environment for a tool at `executable`, with a PATH on which it finds its companions: an
/// application started from a menu inherits a bare one.
QProcessEnvironment agentEnvironment(const QString& executable);

/// The folder `name` under the system's temporary folder, mode 0700, made when missing. Where that name
/// belongs to another user, the name followed by our user number.
Result<QString> scratchFolder(const QString& name);

}  // namespace lumbro
