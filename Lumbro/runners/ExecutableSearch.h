#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "runners/AgentRequest.h"

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
/// find is remembered. A script without its interpreter is only given when there is nothing else. Fails as
/// `notFound`, as `timedOut` when the login shell is too slow, and as `cancelled` through the caller's handle
/// (may be none). Main thread; the settings and the clock must outlive it.
Task<Result<QString>> locateExecutable(Settings& settings, Clock& clock, ExecutableSearch search,
                                       std::shared_ptr<CancellationHandle> cancel = nullptr);

/// Why the tool at `executable` could not be started: `reason`, the system's own words, or that the script's
/// interpreter is missing, which these words don't tell.
QString startFailure(const QString& executable, const QString& reason);

/// Our own environment for a tool at `executable`, with a PATH on which it finds its companions: an
/// application started from a menu inherits a bare one.
QProcessEnvironment agentEnvironment(const QString& executable);

/// The folder `name` under the system's temporary folder, mode 0700, made when missing. Where that name
/// belongs to another user, the name followed by our user number.
Result<QString> scratchFolder(const QString& name);

}  // namespace lumbro
