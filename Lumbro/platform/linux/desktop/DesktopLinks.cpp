#include "platform/linux/desktop/DesktopLinks.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "platform/linux/desktop/DesktopMail.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <algorithm>

namespace lumbro::desktopLinks {

namespace {

constexpr qint64 mostBytes = qint64(4) * 1024 * 1024;

/// Folders of applications, the user's first.
QStringList applicationFolders() {
    return QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

/// The lists that name the applications of a kind of content.
QStringList listFiles() {
    QStringList files;
    for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation)) {
        files << folder + u"/mimeapps.list"_s;
    }
    for (const QString& folder : applicationFolders()) {
        files << folder + u"/mimeapps.list"_s << folder + u"/mimeinfo.cache"_s;
    }
    return files;
}

/// The applications that a list names for the content; those taken away are none.
QStringList namedIn(const QString& file, const QString& content) {
    QStringList names;
    bool isRemoval = false;
    const QByteArray bytes = readFile(file, mostBytes).value_or(QByteArray());
    for (const QByteArray& line : bytes.split('\n')) {
        if (line.startsWith('[')) {
            isRemoval = line.startsWith("[Removed");
        } else if (!isRemoval && line.startsWith(content.toUtf8() + '=')) {
            names += QString::fromUtf8(line).section(u'=', 1).trimmed().split(u';', Qt::SkipEmptyParts);
        }
    }
    return names;
}

bool isInstalled(const QString& application) {
    return std::ranges::any_of(applicationFolders(), [&](const QString& folder) {
        return QFileInfo::exists(folder + u'/' + application);
    });
}

}  // namespace

bool open(const QUrl& url) {
    if (!DesktopMail::hasDesktop()) {
        return false;
    }
    const QString address = QString::fromLatin1(url.toEncoded());
    const QList<QStringList> commands{{u"xdg-open"_s, address}, {u"gio"_s, u"open"_s, address}};
    return std::ranges::any_of(commands, [](const QStringList& command) {
        // Started detached, since a browser may stay in the foreground for as long as it is open.
        QProcess process;
        process.setProgram(command.first());
        process.setArguments(command.sliced(1));
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.setWorkingDirectory(QDir::homePath());
        return process.startDetached();
    });
}

bool hasHandler(const QString& scheme) {
    const QString content = u"x-scheme-handler/"_s + scheme;
    return std::ranges::any_of(listFiles(), [&](const QString& file) {
        const QStringList names = namedIn(file, content);
        return std::ranges::any_of(names, isInstalled);
    });
}

}  // namespace lumbro::desktopLinks
