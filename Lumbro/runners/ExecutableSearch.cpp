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

/// The program that a script names in its first line, where that one isn't there; else empty.
QString missingInterpreter(const QString& path) {
    constexpr qint64 longestLine = 256;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray line = file.readLine(longestLine);
    if (!line.startsWith("#!")) {
        return {};
    }
    const QString program = QFile::decodeName(line.sliced(2).simplified().split(' ').first());
    return QDir::isAbsolutePath(program) && !isExecutableFile(program) ? program : QString();
}

bool canStart(const QString& path) {
    return isExecutableFile(path) && missingInterpreter(path).isEmpty();
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

std::optional<QString> inCustomaryPlaces(const ExecutableSearch& search, bool (*isGood)(const QString&)) {
    QStringList paths;
    for (const QString& place : search.places) {
        paths << withHome(place);
    }
    for (const QString& version : nodeVersions()) {
        paths << version + u"/bin/"_s + search.name;
    }
    paths << u"/usr/bin/"_s + search.name;
    const auto found = std::ranges::find_if(paths, isGood);
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

Task<Result<QString>> locateExecutable(Settings& settings, Clock& clock, ExecutableSearch search,
                                       std::shared_ptr<CancellationHandle> cancel) {
    const QString remembered = settings.string(search.setting);
    if (canStart(remembered)) {
        co_return QString(remembered);
    }
    auto found = inCustomaryPlaces(search, canStart);
    if (!found) {
        found = onPath(search.name);
    }
    Result<QString> asked;
    if (!found) {
        asked = co_await loginShellLine(u"command -v "_s + search.name, clock, cancel);
        found = asked ? std::optional(*asked) : std::nullopt;
    }
    if (found && canStart(*found)) {
        settings.set(search.setting, *found);
        co_return QString(*found);
    }
    if (!asked && asked.error().kind == FailureKind::cancelled) {
        co_return asked;
    }
    // Its failure to start says more than that nothing is there.
    const auto broken = isExecutableFile(remembered) ? std::optional(remembered)
                                                     : inCustomaryPlaces(search, isExecutableFile);
    if (broken) {
        co_return QString(*broken);
    }
    co_return asked ? fail(FailureKind::notFound, u"%1 isn't there."_s.arg(search.name)) : asked;
}

QString startFailure(const QString& executable, const QString& reason) {
    const QString interpreter = missingInterpreter(executable);
    return interpreter.isEmpty() ? reason : u"%1 needs %2, which is missing"_s.arg(executable, interpreter);
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
