#include "LumbroSpeech/WhisperFile.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <optional>

namespace lumbro::speech {

namespace {

constexpr qint32 magic = 0x67676d6c;
constexpr qint32 firstMultilingualVocabulary = 51865;
constexpr qint32 largestVocabulary = 60000;
constexpr qint32 longestName = 256;

/// Little-endian numbers of a file, with a sticky failure.
class Reader {
  public:
    explicit Reader(const QString& path) : m_file(path) {
        m_isGood = m_file.open(QIODevice::ReadOnly);
        m_size = m_file.size();
    }

    qint32 number() {
        std::array<char, 4> bytes{};
        m_isGood = m_isGood && m_file.read(bytes.data(), 4) == 4;
        return m_isGood ? qFromLittleEndian<qint32>(bytes.data()) : 0;
    }
    QByteArray bytes(qint64 count) {
        const QByteArray read = m_file.read(count);
        m_isGood = m_isGood && read.size() == count;
        return read;
    }
    void skip(qint64 count) {
        m_isGood =
            m_isGood && count >= 0 && count <= m_size - m_file.pos() && m_file.seek(m_file.pos() + count);
    }
    bool require(bool condition) { return m_isGood = m_isGood && condition; }
    bool isGood() const { return m_isGood; }
    bool atEnd() const { return m_file.atEnd(); }

  private:
    QFile m_file;
    qint64 m_size = 0;
    bool m_isGood = false;
};

bool isBetween(qint32 value, qint32 low, qint32 high) {
    return low <= value && value <= high;
}

/// The sizes at the file's beginning that say what follows.
struct Sizes {
    qint32 vocabulary = 0;
    /// Of a whole model.
    qint32 tensors = 0;
};

Sizes readSizes(Reader& in) {
    in.require(in.number() == magic);
    const qint32 vocabulary = in.number();
    const qint32 audioContext = in.number();
    const qint32 state = in.number();
    const qint32 audioHeads = in.number();
    const qint32 audioLayers = in.number();
    const qint32 textContext = in.number();
    const qint32 textState = in.number();
    const qint32 textHeads = in.number();
    const qint32 textLayers = in.number();
    const qint32 bands = in.number();
    const qint32 type = in.number();
    static constexpr std::array knownLayers = {4, 6, 12, 24, 32};
    in.require(isBetween(vocabulary, 50000, largestVocabulary) && isBetween(audioContext, 1, 1500) &&
               isBetween(textContext, 1, 448) && isBetween(state, 64, 1280) && state == textState);
    in.require(isBetween(audioHeads, 1, 20) && state % audioHeads == 0 && textHeads == audioHeads &&
               std::ranges::find(knownLayers, audioLayers) != knownLayers.end() &&
               isBetween(textLayers, 1, 32) && (bands == 80 || bands == 128) && isBetween(type, 0, 9999));
    if (!in.isGood()) {
        return {};
    }
    return {vocabulary, 11 + (15 * audioLayers) + (24 * textLayers)};
}

void skipFiltersAndWords(Reader& in, qint32 vocabulary) {
    const qint32 bands = in.number();
    const qint32 bins = in.number();
    if (in.require(isBetween(bands, 80, 128) && isBetween(bins, 1, 4096))) {
        in.skip(qint64(bands) * bins * 4);
    }
    const qint32 words = in.number();
    in.require(isBetween(words, 1, vocabulary));
    for (qint32 i = 0; i < words && in.isGood(); ++i) {
        const qint32 length = in.number();
        if (in.require(isBetween(length, 0, longestName))) {
            in.skip(length);
        }
    }
}

/// Bytes of `count` numbers of a tensor type that models come in; none for another type.
std::optional<qint64> tensorBytes(qint32 type, qint64 count) {
    struct Layout {
        qint32 type;
        qint64 block;
        qint64 bytes;
    };
    static constexpr std::array layouts = {
        Layout{0, 1, 4},   Layout{1, 1, 2},   Layout{2, 32, 18}, Layout{3, 32, 20},
        Layout{6, 32, 22}, Layout{7, 32, 24}, Layout{8, 32, 34},
    };
    const auto* const found = std::ranges::find(layouts, type, &Layout::type);
    if (found == layouts.end() || count % found->block != 0) {
        return std::nullopt;
    }
    return count / found->block * found->bytes;
}

void skipTensor(Reader& in) {
    const qint32 dimensions = in.number();
    const qint32 nameLength = in.number();
    const qint32 type = in.number();
    if (!in.require(isBetween(dimensions, 1, 4) && isBetween(nameLength, 1, longestName))) {
        return;
    }
    qint64 count = 1;
    for (qint32 i = 0; i < dimensions; ++i) {
        const qint32 size = in.number();
        if (!in.require(isBetween(size, 1, 1 << 20) && count < (qint64(1) << 31))) {
            return;
        }
        count *= size;
    }
    in.skip(nameLength);
    const auto bytes = tensorBytes(type, count);
    if (in.require(bytes.has_value() && count < (qint64(1) << 31))) {
        in.skip(*bytes);
    }
}

}  // namespace

Result<WhisperFileInfo> readWhisperFile(const QString& path) {
    if (!QFileInfo(path).isFile()) {
        return fail(FailureKind::notFound, u"There is no model file %1."_s.arg(path));
    }
    Reader in(path);
    const Sizes sizes = readSizes(in);
    skipFiltersAndWords(in, sizes.vocabulary);
    WhisperFileInfo info{sizes.vocabulary >= firstMultilingualVocabulary, 0};
    while (in.isGood() && !in.atEnd()) {
        skipTensor(in);
        ++info.tensors;
    }
    // A file that was cut between two tensors looks whole; one of none at all the library takes.
    in.require(info.tensors == 0 || info.tensors == sizes.tensors);
    if (!in.isGood()) {
        return fail(FailureKind::speech,
                    u"%1 is no whisper model, or not all of it."_s.arg(QFileInfo(path).fileName()));
    }
    return info;
}

bool isVoiceModelFile(const QString& path) {
    Reader in(path);
    in.require(in.number() == magic);
    const qint32 length = in.number();
    return in.require(isBetween(length, 1, longestName)) && in.bytes(length).startsWith("silero");
}

}  // namespace lumbro::speech
