#include "runners/ExecutableSearch.h"

#include "LumbroCore/TempFolder.h"
#include "runners/LoginShell.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

bool isExecutableFile(const QString& path) {
    const QFileInfo file(path);
    return !path.isEmpty() && file.isFile() && file.isExecutable();
}

QString withHome(const QString& path) {
    return path.startsWith(u'~') ? QDir::homePath() + path.sliced(1) : path;
}

/// In text order, newest name first, so "v9" stands before "v22".
QStringList nodeVersions() {
    const QString folder = QDir::homePath() + u"/.nvm/versions/node"_s;
    QStringList names = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    std::ranges::sort(names, std::greater());
    for (QString& name : names) {
        name = folder + u'/' + name;
    }
    return names;
}

std::optional<QString> inCustomaryPlaces(const ExecutableSearch& search) {
    QStringList paths;
    for (const QString& place : search.places) {
        paths << withHome(place);
    }
    for (const QString& version : nodeVersions()) {
        paths << version + u"/bin/"_s + search.name;
    }
    paths << u"/usr/bin/"_s + search.name;
    const auto found = std::ranges::find_if(paths, isExecutableFile);
    return found == paths.end() ? std::nullopt : std::optional(*found);
}

/// Along our own PATH, which a login shell's start files replace. A relative entry is skipped: it would mean
/// the working folder, which may hold what others wrote.
std::optional<QString> onPath(const QString& name) {
    QStringList folders = qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts);
    folders.removeIf([](const QString& folder) { return !QDir::isAbsolutePath(folder); });
    const QString found = folders.isEmpty() ? QString() : QStandardPaths::findExecutable(name, folders);
    return found.isEmpty() ? std::nullopt : std::optional(found);
}

/// True when `path` is a folder of ours that nobody else can read; makes it when nothing is there.
bool isOurs(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct stat info{};
    if (::mkdir(name.constData(), S_IRWXU) != 0 && errno != EEXIST) {
        return false;
    }
    // Not followed: in a folder that all users share, a link may be somebody's trap.
    if (::lstat(name.constData(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid()) {
        return false;
    }
    return (info.st_mode & (S_IRWXG | S_IRWXO)) == 0 || ::chmod(name.constData(), S_IRWXU) == 0;
}

}  // namespace

Task<std::optional<QString>> locateExecutable(Settings& settings, Clock& clock, ExecutableSearch search) {
    const QString remembered = settings.string(search.setting);
    if (isExecutableFile(remembered)) {
        co_return remembered;
    }
    auto found = inCustomaryPlaces(search);
    if (!found) {
        found = onPath(search.name);
    }
    if (!found) {
        found = co_await loginShellLine(u"command -v "_s + search.name, clock);
    }
    if (!found || !isExecutableFile(*found)) {
        co_return std::nullopt;
    }
    settings.set(search.setting, *found);
    co_return found;
}

QProcessEnvironment agentEnvironment(const QString& executable) {
    auto environment = QProcessEnvironment::systemEnvironment();
    QStringList path{QFileInfo(executable).absolutePath(), u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s,
                     u"/usr/bin"_s, u"/bin"_s};
    const QString inherited = environment.value(u"PATH"_s);
    // An empty entry would mean the working folder, which holds what others wrote.
    if (!inherited.isEmpty()) {
        path << inherited;
    }
    environment.insert(u"PATH"_s, path.join(u':'));
    return environment;
}

Result<QString> scratchFolder(const QString& name) {
    const QString path = tempFolder() + u'/' + name;
    for (const QString& candidate : {path, u"%1-%2"_s.arg(path).arg(::geteuid())}) {
        if (isOurs(candidate)) {
            return candidate;
        }
    }
    return fail(u"The folder %1 can't be made: %2"_s.arg(path, qt_error_string(errno)));
}

}  // namespace lumbro
