#include "LumbroCore/AtomicFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>

namespace lumbro {

Result<> writeFileAtomically(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    const auto failed = [&] {
        // What fails below QSaveFile, such as the flush on a full disk, it knows no reason for.
        const int number = errno;
        const bool isKnown = file.error() != QFileDevice::NoError && file.error() != QFileDevice::WriteError;
        const QString reason = isKnown || number == 0 ? file.errorString() : qt_error_string(number);
        return fail(u"can't write %1: %2"_s.arg(QFileInfo(path).fileName(), reason));
    };
    errno = 0;
    if (!file.open(QIODevice::WriteOnly)) {
        return failed();
    }
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    // On a full disk the last of the buffer fails only when it is flushed. `commit` would not see that and
    // would put the short file in place.
    if (file.write(bytes) != bytes.size() || !file.flush() || !file.commit()) {
        return failed();
    }
    return {};
}

QStringView unfinishedTarget(QStringView name) {
    constexpr qsizetype suffix = 7;
    const auto isRandom = [](QChar c) { return c.isLetter() && c.unicode() < 0x80; };
    const bool isUnfinished = name.size() > suffix && name[name.size() - suffix] == u'.' &&
                              std::ranges::all_of(name.last(suffix - 1), isRandom);
    return isUnfinished ? name.chopped(suffix) : QStringView();
}

std::optional<QByteArray> readFile(const QString& path, qint64 maxBytes) {
    QFile file(path);
    // A fifo or device would block or never end.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > maxBytes) {
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        return std::nullopt;
    }
    return bytes;
}

std::optional<QString> readTextFile(const QString& path) {
    const auto bytes = readFile(path);
    if (!bytes) {
        return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(*bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

bool makePrivateFolder(const QString& path) {
    if (QFileInfo(path).isDir()) {
        return true;
    }
    // Permissions of the last folder are set by name, the parents' by the process's umask of 077.
    return QDir().mkpath(path) &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

}  // namespace lumbro
