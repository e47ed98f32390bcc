#pragma once

#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/UtteranceCutter.h"
#include "LumbroSpeech/UtteranceDecoder.h"

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

namespace lumbro::speech {

/// One stream as the recognition worker sees it: the audio fed to it, its utterances and its decoder. On the
/// worker's thread but where said.
class WorkerStream {
  public:
    /// Called with each result; hands it on to the main thread.
    using Deliver = std::function<void(RecognitionResult)>;
    using End = std::function<void(Result<>)>;

    WorkerStream(std::unique_ptr<UtteranceCutter> cutter, std::unique_ptr<UtteranceDecoder> decoder,
                 Deliver deliver, End end);

    /// Any thread.
    void feed(std::span<const float> samples);
    /// Any thread: no more audio comes.
    void finish();
    /// Any thread: nobody waits for its results any more.
    void abandon() { m_isAbandoned = true; }
    bool isAbandoned() const { return m_isAbandoned; }
    /// Any thread: seconds that are not decoded and not known to be silence.
    double backlog() const;
    /// Any thread: as `RecognitionStream::unheard`.
    double unheard() const;

    /// Cuts what was fed into utterances, as far as is worth doing ahead of the decoder.
    void cut();
    /// Decodes the next utterance when it is closed already. False when there is none.
    bool decodeClosed();
    /// Decodes a little of the open utterance. False when there is nothing to decode.
    bool decodeSome();
    /// Makes a guess when one is due.
    bool guess(UtteranceDecoder::Moment now);
    /// Delivers the end when everything is done. True when the stream is over.
    bool isOver();
    std::unique_ptr<UtteranceDecoder> takeDecoder() { return std::move(m_decoder); }

  private:
    bool takeQueue(std::vector<std::vector<float>>& out);
    void decode(UtterancePiece piece);
    void decodeFinal();

    std::unique_ptr<UtteranceCutter> m_cutter;
    std::unique_ptr<UtteranceDecoder> m_decoder;
    Deliver m_deliver;
    End m_end;

    std::mutex m_mutex;
    std::deque<std::vector<float>> m_queue;
    bool m_isFinished = false;

    std::atomic<int64_t> m_queued = 0;
    std::atomic<int64_t> m_pendingSamples = 0;
    /// Decoded since the last result.
    std::atomic<int64_t> m_unsaidSamples = 0;
    std::atomic<bool> m_isAbandoned = false;

    std::deque<UtterancePiece> m_pending;
    int m_closedPending = 0;
    double m_start = 0;
    QString m_lastGuess;
    bool m_isDecoding = false;
    bool m_isCut = false;
    bool m_hasFailed = false;
    bool m_hasEnded = false;
};

}  // namespace lumbro::speech
