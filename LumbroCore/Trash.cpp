#include "LumbroCore/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace lumbro {

Result<QString> moveToTrash(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    // Without this folder Qt 6.4 moves the file into "./files" of the working directory and calls it done.
    const QString home = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!QFileInfo(home).isAbsolute() || !QDir().mkpath(home + u"/Trash/files"_s) ||
        !QDir().mkpath(home + u"/Trash/info"_s)) {
        return fail(u"There is no Trash folder for %1."_s.arg(name));
    }
    QString inTrash;
    if (!QFile::moveToTrash(path, &inTrash)) {
        return fail(u"%1 could not be moved to the Trash."_s.arg(name));
    }
    if (!QFileInfo(inTrash).isAbsolute()) {
        return fail(
            u"%1 did not reach the Trash; it is at %2."_s.arg(name, QFileInfo(inTrash).absoluteFilePath()));
    }
    return inTrash;
}

}  // namespace lumbro
