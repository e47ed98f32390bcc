#include "recording/audio/CafWriter.h"

#include "recording/audio/TrackPipeline.h"

#include <QFile>

#include <algorithm>
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
    const auto frames = static_cast<sf_count_t>(m_filled);
    m_filled = 0;
    if (frames == 0) {
        return true;
    }
    const sf_count_t written = sf_write_short(m_file, m_block.data(), frames);
    m_written += written;
    if (written == frames) {
        return true;
    }
    // A full disk may have taken half a sample; the next block must not begin after it.
    sf_seek(m_file, m_written, SEEK_SET | SFM_WRITE);
    return false;
}

}  // namespace lumbro
