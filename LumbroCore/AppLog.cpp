#include "LumbroCore/AppLog.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QThreadPool>

#include <syslog.h>

namespace lumbro {

namespace {

/// One thread, so that lines keep their order.
QThreadPool& writerQueue() {
    static QThreadPool pool;
    static const bool serial = [] {
        pool.setMaxThreadCount(1);
        return true;
    }();
    Q_UNUSED(serial)
    return pool;
}

void writeToSystemLog(const QString& level, const QString& tag, const QString& message) {
    static const bool opened = [] {
        openlog("app.quillet.handoff", LOG_PID, LOG_USER);
        return true;
    }();
    Q_UNUSED(opened)
    syslog(level == QLatin1String("ERROR") ? LOG_ERR : LOG_INFO, "%s [%s] %s", qUtf8Printable(level),
           qUtf8Printable(tag), qUtf8Printable(message));
}

void append(const QByteArray& line) {
    QFile file(AppLog::url());
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        file.write(line);
    }
}

}  // namespace

void AppLog::write(const QString& level, const QString& tag, const QString& message) {
    const QString line = dates::logStamp(QDateTime::currentDateTime()) + u' ' + level + u" ["_s + tag +
                         u"] "_s + message + u'\n';
    writerQueue().start([level, tag, message, line] {
        writeToSystemLog(level, tag, message);
        append(line.toUtf8());
    });
}

QString AppLog::url() {
    const QString folder = QDir::homePath() + u"/Library/Logs/Quillet"_s;
    makePrivateFolder(folder);
    return folder + u"/handoff.log"_s;
}

void AppLog::flush() {
    writerQueue().waitForDone();
}

}  // namespace lumbro
