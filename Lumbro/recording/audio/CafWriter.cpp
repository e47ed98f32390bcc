#include "recording/audio/CafWriter.h"

#include "recording/audio/TrackPipeline.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sndfile.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr size_t blockFrames = TrackPipeline::sampleRate / 2;

qint16 toPcm(float sample) {
    const float scaled = std::clamp(sample * 32768.0F, -32768.0F, 32767.0F);
    return static_cast<qint16>(scaled + (scaled < 0 ? -0.5F : 0.5F));
}

}  // namespace

std::unique_ptr<CafWriter> CafWriter::create(const QString& file) {
    const QByteArray path = QFile::encodeName(file);
    const int descriptor = ::open(path.constData(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return nullptr;
    }
    SF_INFO info{};
    info.samplerate = TrackPipeline::sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_CAF | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    SNDFILE* opened = sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE);
    if (opened == nullptr) {
        ::close(descriptor);
        errno = EIO;
        return nullptr;
    }
    sf_command(opened, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    sf_command(opened, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    return std::unique_ptr<CafWriter>(new CafWriter(opened));
}

CafWriter::CafWriter(sf_private_tag* file) : m_file(file), m_block(blockFrames) {}

CafWriter::~CafWriter() {
    sf_close(m_file);
}

bool CafWriter::write(std::span<const float> samples) {
    bool whole = true;
    while (!samples.empty()) {
        const size_t now = std::min(samples.size(), blockFrames - m_filled);
        std::ranges::transform(samples.first(now), m_block.begin() + static_cast<std::ptrdiff_t>(m_filled),
                               toPcm);
        m_filled += now;
        samples = samples.subspan(now);
        if (m_filled == blockFrames) {
            whole = flush() && whole;
        }
    }
    return whole;
}

bool CafWriter::flush() {
    const std::span<const qint16> block = std::span(m_block).first(m_filled);
    m_filled = 0;
    const size_t written = fillLost() ? put(block) : 0;
    m_lost += static_cast<qint64>(block.size() - written);
    return written == block.size();
}

bool CafWriter::fillLost() {
    static constexpr std::array<qint16, blockFrames> silence{};
    while (m_lost > 0) {
        const auto wanted = static_cast<size_t>(std::min<qint64>(m_lost, blockFrames));
        const size_t written = put(std::span(silence).first(wanted));
        m_lost -= static_cast<qint64>(written);
        if (written < wanted) {
            return false;
        }
    }
    return true;
}

size_t CafWriter::put(std::span<const qint16> samples) {
    if (samples.empty()) {
        return 0;
    }
    const auto frames = static_cast<sf_count_t>(samples.size());
    const sf_count_t written = sf_write_short(m_file, samples.data(), frames);
    m_written += written;
    if (written < frames) {
        // A full disk may have taken half a sample; the next block must not begin after it.
        sf_seek(m_file, m_written, SEEK_SET | SFM_WRITE);
    }
    return static_cast<size_t>(written);
}

}  // namespace lumbro
