#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroSpeech/Recognizer.h"
#include "library/formats/TranscriptSegment.h"
#include "recording/transcription/TranscriptionSession.h"

#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

class TranscriberCore;

/// Turns one track's audio into text for the whole length of a capture, and stays alive when the recogniser
/// does not: a stream that ends by itself or goes silent while people talk is opened anew on the same time
/// base. Main thread but for `feed` and `backlog`. Destroying it ends everything abruptly.
class LiveTranscriber final : public TranscriptionSession {
  public:
    /// The clock must outlive the transcriber.
    LiveTranscriber(Speaker speaker, Clock& clock);
    ~LiveTranscriber() override;

    /// A final line.
    std::function<void(const TranscriptSegment&)> onFinal;
    /// The current guess; empty means none.
    std::function<void(const QString&)> onVolatile;
    /// The recogniser was given up on, with a sentence for the user. The recording goes on.
    std::function<void(const QString&)> onGaveUp;

    /// From here audio may be fed; all of it is kept for the first launch. Before `start`.
    void open(FedAudio audio = FedAudio::heardOnce);
    /// Launches on the recogniser; `locale` is for the log. A failure leaves the transcriber without words.
    Task<Result<>> start(std::shared_ptr<speech::Recognizer> recognizer, QString locale);

    void feed(std::span<const float> samples, float level) override;
    Task<> finish(FinishWait wait = FinishWait::brief) override;
    void stopWaiting() override;
    double backlog() const override;
    double unheard() const override;
    double lost() const override;
    Speaker speaker() const;

  private:
    std::shared_ptr<TranscriberCore> m_core;
};

}  // namespace lumbro
