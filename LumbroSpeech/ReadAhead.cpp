#include "LumbroSpeech/ReadAhead.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro::speech {

void readFileAhead(const QString& path) {
    const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (file >= 0) {
        ::posix_fadvise(file, 0, 0, POSIX_FADV_WILLNEED);
        ::close(file);
    }
}

}  // namespace lumbro::speech
