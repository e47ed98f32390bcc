#include "recording/audio/TrackPipeline.h"

#include "LumbroCore/AppLog.h"
#include "recording/audio/CafWriter.h"
#include "recording/audio/MonoResampler.h"

#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cmath>

namespace lumbro {

TrackPipeline::TrackPipeline(const QString& file, Feed feed, OnLevel onLevel, OnWriteFailed onWriteFailed)
    : m_feed(std::move(feed)),
      m_onLevel(std::move(onLevel)),
      m_onWriteFailed(std::move(onWriteFailed)),
      m_path(file),
      m_file(CafWriter::create(file)) {
    if (!m_file) {
        reportWriteFailure();
    }
}

TrackPipeline::~TrackPipeline() {
    close();
}

void TrackPipeline::ingest(const AudioBuffer& buffer) {
    const std::lock_guard guard(m_lock);
    if (m_closed || buffer.frames() == 0) {
        return;
    }
    if (!m_toWork || m_toWork->format() != buffer.format) {
        m_toWork = MonoResampler::make(buffer.format);
    }
    if (!m_toWork) {
        return;
    }
    const std::span<const float> work = m_toWork->process(buffer.samples);
    if (!work.empty()) {
        deliver(work);
    }
}

void TrackPipeline::deliver(std::span<const float> work) {
    m_receivedAudio = true;
    m_framesOut += static_cast<qint64>(work.size());
    if (m_file && !m_file->write(work)) {
        reportWriteFailure();
    }
    const float loudness = level(work);
    if (m_onLevel) {
        m_onLevel(loudness);
    }
    if (m_feed) {
        m_feed(work, loudness);
    }
}

void TrackPipeline::close() {
    const std::lock_guard guard(m_lock);
    if (m_closed) {
        return;
    }
    m_closed = true;
    if (m_file) {
        const bool tail = !m_toWork || m_file->write(m_toWork->finish());
        if (!m_file->flush() || !tail) {
            reportWriteFailure();
        }
    }
    m_file.reset();
    m_toWork.reset();
}

void TrackPipeline::reportWriteFailure() {
    if (std::exchange(m_writeFailureReported, true)) {
        return;
    }
    const QString reason = qt_error_string(errno);
    const QString name = QFileInfo(m_path).fileName();
    AppLog::error(u"audio"_s, u"cannot write "_s + m_path + u": "_s + reason);
    if (m_onWriteFailed) {
        m_onWriteFailed(u"Couldn't write "_s + name + u": "_s + reason + u'.');
    }
}

bool TrackPipeline::receivedAudio() const {
    const std::lock_guard guard(m_lock);
    return m_receivedAudio;
}

double TrackPipeline::secondsIngested() const {
    const std::lock_guard guard(m_lock);
    return static_cast<double>(m_framesOut) / sampleRate;
}

float TrackPipeline::level(std::span<const float> samples) {
    if (samples.empty()) {
        return 0;
    }
    // Several sums at once, because the compiler may not reorder one.
    constexpr size_t lanes = 16;
    std::array<float, lanes> sums{};
    size_t i = 0;
    for (; i + lanes <= samples.size(); i += lanes) {
        for (size_t lane = 0; lane < lanes; ++lane) {
            sums[lane] += samples[i + lane] * samples[i + lane];
        }
    }
    double sum = 0;
    for (; i < samples.size(); ++i) {
        sum += double(samples[i]) * samples[i];
    }
    for (const float part : sums) {
        sum += part;
    }
    const double rms = std::sqrt(sum / static_cast<double>(samples.size()));
    const double db = 20 * std::log10(std::max(rms, 1e-5));
    return static_cast<float>(std::clamp((db + 55) / 45, 0.0, 1.0));
}

}  // namespace lumbro
