#include "recording/audio/CafReader.h"

#include "recording/audio/TrackPipeline.h"

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cctype>

namespace lumbro {

namespace {

constexpr qint64 fileHeaderSize = 8;
constexpr qint64 chunkHeaderSize = 12;
constexpr qint64 descriptionSize = 32;
/// The data chunk begins with a count of edits.
constexpr qint64 editCountSize = 4;
constexpr quint32 flagFloat = 1;
constexpr quint32 flagLittleEndian = 2;

quint32 word(const QByteArray& bytes, qsizetype at) {
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

qint64 longWord(const QByteArray& bytes, qsizetype at) {
    return qFromBigEndian<qint64>(bytes.constData() + at);
}

}  // namespace

Result<> CafReader::open(const QString& file) {
    m_file.setFileName(file);
    if (!m_file.open(QIODevice::ReadOnly)) {
        return fail(m_file.errorString());
    }
    if (m_file.read(fileHeaderSize).left(4) != "caff") {
        return fail(u"not a CAF file"_s);
    }
    return readChunks();
}

Result<> CafReader::readChunks() {
    while (true) {
        const QByteArray header = m_file.read(chunkHeaderSize);
        if (header.size() < chunkHeaderSize) {
            return fail(u"no audio data"_s);
        }
        const qint64 size = longWord(header, 4);
        const qint64 begin = m_file.pos();
        if (header.startsWith("data")) {
            if (!m_described) {
                return fail(u"no audio format"_s);
            }
            m_frames = std::max<qint64>(0, realDataSize(begin, size) - editCountSize) / 2;
            m_file.seek(begin + editCountSize);
            return {};
        }
        if (size < 0 || size > m_file.size() - begin) {
            return fail(u"a broken header"_s);
        }
        if (header.startsWith("desc")) {
            if (const auto described = readDescription(m_file.read(descriptionSize)); !described) {
                return described;
            }
        }
        m_file.seek(begin + size);
    }
}

Result<> CafReader::readDescription(const QByteArray& body) {
    if (body.size() < descriptionSize) {
        return fail(u"a broken header"_s);
    }
    const auto rate = std::bit_cast<double>(longWord(body, 0));
    const quint32 flags = word(body, 12);
    const bool isTrack = rate == TrackPipeline::sampleRate && body.mid(8, 4) == "lpcm" &&
                         (flags & flagFloat) == 0 && word(body, 16) == 2 && word(body, 20) == 1 &&
                         word(body, 24) == 1 && word(body, 28) == 16;
    if (!isTrack) {
        return fail(u"not 16-bit mono at 16 kHz"_s);
    }
    m_littleEndian = (flags & flagLittleEndian) != 0;
    m_described = true;
    return {};
}

qint64 CafReader::realDataSize(qint64 begin, qint64 declared) const {
    const qint64 toEnd = m_file.size() - begin;
    if (declared < 0 || declared >= toEnd) {
        return toEnd;
    }
    // A complete chunk right behind the data proves the length; audio there means that the writer was killed.
    m_file.seek(begin + declared);
    const QByteArray next = m_file.read(chunkHeaderSize);
    const auto isTypeCharacter = [](char c) { return c >= 'a' && c <= 'z'; };
    const bool isChunk = next.size() == chunkHeaderSize &&
                         std::all_of(next.begin(), next.begin() + 4, isTypeCharacter) &&
                         longWord(next, 4) >= 0 && longWord(next, 4) <= toEnd - declared - chunkHeaderSize;
    return isChunk ? declared : toEnd;
}

Result<size_t> CafReader::read(std::span<float> samples) {
    const qint64 wanted = std::min<qint64>(static_cast<qint64>(samples.size()), m_frames - m_position);
    m_raw.resize(wanted * 2);
    if (m_file.read(m_raw.data(), m_raw.size()) != m_raw.size()) {
        return fail(m_file.errorString());
    }
    for (qint64 i = 0; i < wanted; ++i) {
        const char* at = m_raw.constData() + 2 * i;
        const qint16 value = m_littleEndian ? qFromLittleEndian<qint16>(at) : qFromBigEndian<qint16>(at);
        samples[static_cast<size_t>(i)] = static_cast<float>(value) / 32768.0F;
    }
    m_position += wanted;
    return static_cast<size_t>(wanted);
}

}  // namespace lumbro
