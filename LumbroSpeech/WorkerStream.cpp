#include "LumbroSpeech/WorkerStream.h"

#include "LumbroCore/Literals.h"

#include <algorithm>
#include <utility>

namespace lumbro::speech {

namespace {

// Audio cut ahead of the decoder: enough for one longest utterance, so that its end is seen.
constexpr int64_t cutAhead = int64_t(25) * sampleRate;
// The most that is decoded before finals of other streams get their turn.
constexpr size_t decodeSlice = sampleRate / 10;

}  // namespace

WorkerStream::WorkerStream(std::unique_ptr<UtteranceCutter> cutter, std::unique_ptr<UtteranceDecoder> decoder,
                           Deliver deliver, End end)
    : m_cutter(std::move(cutter)),
      m_decoder(std::move(decoder)),
      m_deliver(std::move(deliver)),
      m_end(std::move(end)) {}

void WorkerStream::feed(std::span<const float> samples) {
    const std::lock_guard lock(m_mutex);
    if (m_isFinished || samples.empty()) {
        return;
    }
    m_queue.emplace_back(samples.begin(), samples.end());
    m_queued += static_cast<int64_t>(samples.size());
}

void WorkerStream::finish() {
    const std::lock_guard lock(m_mutex);
    m_isFinished = true;
}

double WorkerStream::backlog() const {
    return double(m_queued + m_pendingSamples) / sampleRate;
}

double WorkerStream::unheard() const {
    return double(m_queued + m_pendingSamples + m_unsaidSamples) / sampleRate;
}

bool WorkerStream::takeQueue(std::vector<std::vector<float>>& out) {
    const std::lock_guard lock(m_mutex);
    int64_t taken = 0;
    while (!m_queue.empty() && m_pendingSamples + taken < cutAhead) {
        taken += static_cast<int64_t>(m_queue.front().size());
        out.push_back(std::move(m_queue.front()));
        m_queue.pop_front();
    }
    return m_isFinished && m_queue.empty();
}

void WorkerStream::cut() {
    if (m_isCut || m_pendingSamples >= cutAhead) {
        return;
    }
    std::vector<std::vector<float>> chunks;
    const bool isLast = takeQueue(chunks);
    std::vector<UtterancePiece> pieces;
    int64_t taken = 0;
    for (const auto& chunk : chunks) {
        m_cutter->feed(chunk, pieces);
        taken += static_cast<int64_t>(chunk.size());
    }
    if (isLast) {
        m_cutter->finish(pieces);
        m_isCut = true;
    }
    for (auto& piece : pieces) {
        m_pendingSamples += static_cast<int64_t>(piece.samples.size());
        m_closedPending += piece.kind == UtterancePiece::Kind::end ? 1 : 0;
        m_pending.push_back(std::move(piece));
    }
    m_queued -= taken;
}

bool WorkerStream::decodeClosed() {
    if (m_closedPending == 0 || m_hasFailed) {
        return false;
    }
    bool isEnd = false;
    while (!isEnd && !m_isAbandoned) {
        UtterancePiece piece = std::move(m_pending.front());
        m_pending.pop_front();
        isEnd = piece.kind == UtterancePiece::Kind::end;
        decode(std::move(piece));
    }
    return true;
}

bool WorkerStream::decodeSome() {
    if (m_pending.empty() || m_hasFailed) {
        return false;
    }
    UtterancePiece& next = m_pending.front();
    if (next.samples.size() <= decodeSlice) {
        UtterancePiece piece = std::move(next);
        m_pending.pop_front();
        decode(std::move(piece));
        return true;
    }
    const auto middle = next.samples.begin() + decodeSlice;
    UtterancePiece piece{next.kind, next.start, std::vector<float>(next.samples.begin(), middle)};
    next.samples.erase(next.samples.begin(), middle);
    decode(std::move(piece));
    return true;
}

void WorkerStream::decode(UtterancePiece piece) {
    switch (piece.kind) {
        case UtterancePiece::Kind::begin:
            m_start = piece.start;
            m_lastGuess.clear();
            m_isDecoding = true;
            m_unsaidSamples = 0;
            m_decoder->begin();
            break;
        case UtterancePiece::Kind::audio:
            m_decoder->add(piece.samples);
            m_unsaidSamples += static_cast<int64_t>(piece.samples.size());
            m_pendingSamples -= static_cast<int64_t>(piece.samples.size());
            break;
        case UtterancePiece::Kind::end:
            --m_closedPending;
            decodeFinal();
            break;
    }
}

void WorkerStream::decodeFinal() {
    m_isDecoding = false;
    const auto text = m_decoder->finish();
    if (m_isAbandoned) {
        return;
    }
    if (text) {
        m_unsaidSamples = 0;
        m_deliver({*text, m_start, true});
    } else {
        m_hasFailed = true;
    }
}

bool WorkerStream::guess(UtteranceDecoder::Moment now) {
    if (!m_isDecoding || m_hasFailed || !m_decoder->isGuessDue(now)) {
        return false;
    }
    const QString text = m_decoder->guess(now);
    m_unsaidSamples = 0;
    if (text != m_lastGuess && !m_isAbandoned) {
        m_lastGuess = text;
        m_deliver({text, m_start, false});
    }
    return true;
}

bool WorkerStream::isOver() {
    const bool isDone = m_hasFailed || (m_isCut && m_pending.empty());
    if (isDone && !m_hasEnded && !m_isAbandoned) {
        m_hasEnded = true;
        m_end(m_hasFailed ? Result<>(fail(FailureKind::speech, u"the recogniser failed on an utterance"_s))
                          : Result<>());
    }
    return isDone || m_isAbandoned;
}

}  // namespace lumbro::speech
