#include "engines/DroppedFile.h"

#include "LumbroCore/Text.h"

#include <QCryptographicHash>
#include <QFile>
#include <QStringDecoder>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr qint64 pieceBytes = qint64(1) << 20;
/// Enough for so many characters, accents and all.
constexpr qsizetype mostUnits = 4 * DroppedFile::mostCharacters;

/// The beginning of a text that comes in pieces.
class TextStart {
  public:
    void feed(const QByteArray& piece) {
        if (!m_isText) {
            return;
        }
        const QString more = m_decoder(piece);
        m_isText = !m_decoder.hasError() && !piece.contains('\0');
        if (m_text.size() <= mostUnits) {
            m_text += more;
        }
    }

    std::optional<QString> finish() {
        // A sequence that the end cuts off shows as an error only when something comes after it.
        [[maybe_unused]] const QString end = m_decoder(QByteArrayView("\n"));
        if (!m_isText || m_decoder.hasError()) {
            return std::nullopt;
        }
        return firstCharacters(m_text, DroppedFile::mostCharacters);
    }

  private:
    QStringDecoder m_decoder{QStringDecoder::Utf8};
    QString m_text;
    bool m_isText = true;
};

}  // namespace

Result<DroppedFile> DroppedFile::read(const QString& path) {
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return errno == ELOOP ? fail(u"it is a link"_s) : fail(qt_error_string(errno));
    }
    QFile file;
    struct stat status = {};
    if (!file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFile::AutoCloseHandle)) {
        ::close(descriptor);
        return fail(file.errorString());
    }
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return fail(u"it is no plain file"_s);
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    TextStart text;
    qint64 bytes = 0;
    while (true) {
        const QByteArray piece = file.read(pieceBytes);
        if (piece.isEmpty()) {
            break;
        }
        hash.addData(piece);
        bytes += piece.size();
        text.feed(piece);
    }
    if (file.error() != QFileDevice::NoError) {
        return fail(file.errorString());
    }
    return DroppedFile{QString::fromLatin1(hash.result().toHex()), text.finish(), bytes};
}

}  // namespace lumbro
