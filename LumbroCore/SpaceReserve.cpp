#include "LumbroCore/SpaceReserve.h"

#include "LumbroCore/Literals.h"

#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

int makeUnnamedFile(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    const int descriptor = open(path.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor >= 0) {
        return descriptor;
    }
    // Some file systems know no files without a name.
    QByteArray name = path + "/.reserve-XXXXXX";
    const int named = mkostemp(name.data(), O_CLOEXEC);
    if (named >= 0) {
        unlink(name.constData());
    }
    return named;
}

}  // namespace

SpaceReserve::SpaceReserve(const QString& folder, qint64 bytes)
    : m_folder(folder), m_descriptor(makeUnnamedFile(folder)) {
    m_error = m_descriptor < 0 ? errno : posix_fallocate(m_descriptor, 0, bytes);
    if (m_error != 0) {
        release();
    }
}

SpaceReserve::~SpaceReserve() {
    release();
}

QString SpaceReserve::problem(const QString& what) const {
    switch (m_error) {
        case 0:
            return {};
        case ENOSPC:
        case EDQUOT:
            return u"there is no room for %1; make some on the disk of %2"_s.arg(what, m_folder);
        case EROFS:
            return u"there is no place for %1, for the disk of %2 can only be read"_s.arg(what, m_folder);
        case EACCES:
        case EPERM:
            return u"there is no place for %1, for you may not write in %2; change that"_s.arg(what,
                                                                                               m_folder);
        case ENOENT:
        case ENOTDIR:
            return u"there is no place for %1, for %2 is no folder; make it one"_s.arg(what, m_folder);
        default:
            return u"there is no place for %1, for %2 can't be written in: %3"_s.arg(
                what, m_folder, qt_error_string(m_error));
    }
}

void SpaceReserve::release() {
    if (m_descriptor >= 0) {
        close(std::exchange(m_descriptor, -1));
    }
}

}  // namespace lumbro
