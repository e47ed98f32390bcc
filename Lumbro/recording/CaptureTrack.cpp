#include "recording/CaptureTrack.h"

#include <utility>

namespace lumbro {

CaptureTrack::CaptureTrack(const QString& file, std::shared_ptr<TranscriptionSession> transcriber,
                           std::optional<Pace> pace, TrackPipeline::OnWriteFailed onWriteFailed)
    : m_transcriber(std::move(transcriber)),
      m_pipeline(
          file, [this](std::span<const float> samples, float level) { feed(samples, level); },
          [this](float level) { m_level = level; }, std::move(onWriteFailed)) {
    if (pace) {
        m_clock =
            std::make_unique<TrackClock>(pace->timeline, pace->monotonic,
                                         [this](const AudioBuffer& buffer) { m_pipeline.ingest(buffer); });
    }
}

void CaptureTrack::ingest(const AudioBuffer& buffer) {
    if (m_clock) {
        m_clock->ingest(buffer);
    } else {
        m_pipeline.ingest(buffer);
    }
}

void CaptureTrack::close() {
    if (m_clock) {
        m_clock->finish();
    }
    m_pipeline.close();
}

void CaptureTrack::dropTranscriber() {
    // The last owner must be on the main thread, so it is let go outside the lock and not in `feed`.
    std::shared_ptr<TranscriptionSession> dropped;
    const std::lock_guard guard(m_transcriberLock);
    dropped = std::move(m_transcriber);
}

double CaptureTrack::backlog() const {
    const std::lock_guard guard(m_transcriberLock);
    return m_transcriber ? m_transcriber->backlog() : 0;
}

void CaptureTrack::feed(std::span<const float> samples, float level) {
    const std::lock_guard guard(m_transcriberLock);
    if (m_transcriber) {
        m_transcriber->feed(samples, level);
    }
}

}  // namespace lumbro
