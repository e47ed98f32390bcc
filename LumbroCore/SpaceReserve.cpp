#include "LumbroCore/SpaceReserve.h"

#include <QFile>

#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// A transcript of an hour takes about 150 KB, and both of its files are beside their old ones for a moment.
constexpr off_t reservedBytes = off_t(256) * 1024;

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

SpaceReserve::SpaceReserve(const QString& folder) : m_descriptor(makeUnnamedFile(folder)) {
    if (m_descriptor >= 0 && posix_fallocate(m_descriptor, 0, reservedBytes) != 0) {
        release();
    }
}

SpaceReserve::~SpaceReserve() {
    release();
}

void SpaceReserve::release() {
    if (m_descriptor >= 0) {
        close(std::exchange(m_descriptor, -1));
    }
}

}  // namespace lumbro
