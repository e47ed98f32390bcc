#include "app/SingleInstance.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/TempFolder.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr qsizetype digits = 12;

QString runtimeFolder() {
    const QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !folder.isEmpty() && QFileInfo(folder).isDir() ? folder : tempFolder();
}

/// Short and the same for every way to write the path of one library.
QString mark(const QString& root) {
    const QString canonical = QFileInfo(root).canonicalFilePath();
    const QString path = canonical.isEmpty() ? QDir::cleanPath(QDir(root).absolutePath()) : canonical;
    const QByteArray hash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha256);
    return QString::fromLatin1(hash.toHex().first(digits));
}

}  // namespace

SingleInstance::SingleInstance(const QString& libraryRoot)
    : m_root(libraryRoot),
      m_busName(u"app.lumbro.Lumbro.L"_s + mark(libraryRoot)),
      m_lockPath(runtimeFolder() + u"/lumbro-%1-%2.lock"_s.arg(::getuid()).arg(mark(libraryRoot))) {}

SingleInstance::~SingleInstance() {
    if (m_hasName) {
        QDBusConnection::sessionBus().unregisterService(m_busName);
    }
    if (m_descriptor >= 0) {
        ::close(m_descriptor);
    }
}

Result<> SingleInstance::acquire() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    const bool hasBus = bus.isConnected();
    if (lockFile() && (!hasBus || bus.registerService(m_busName))) {
        m_hasName = hasBus;
        return {};
    }
    return fail(u"Lumbro is already running for the library %1."_s.arg(QDir::toNativeSeparators(m_root)));
}

bool SingleInstance::lockFile() {
    m_descriptor =
        ::open(QFile::encodeName(m_lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_descriptor < 0) {
        // Without a place for the lock the application still serves its user.
        AppLog::error(u"startup"_s, u"no lock file at "_s + m_lockPath);
        return true;
    }
    return ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

}  // namespace lumbro
