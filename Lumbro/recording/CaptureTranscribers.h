#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "library/formats/TranscriptSegment.h"
#include "recording/CaptureTiming.h"
#include "recording/Latch.h"
#include "recording/transcription/TranscriptionSession.h"
#include "recording/transcription/WarmSpeech.h"

#include <QMap>
#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

class LiveTranscriber;

/// The transcribers of a recording, one for each speaker, from their opening to their last words. One that
/// cannot be started goes; the other stays. Main thread.
class CaptureTranscribers final : public std::enable_shared_from_this<CaptureTranscribers> {
  public:
    /// What they have to say. All of these must be set.
    struct Events {
        std::function<void(const TranscriptSegment&)> onFinal;
        /// The current guess of a speaker; empty means none.
        std::function<void(Speaker, const QString&)> onVolatile;
        /// A sentence for the user.
        std::function<void(const QString&)> onNotice;
        /// The speaker's transcriber could not be started and is no longer to be fed.
        std::function<void(Speaker)> onDropped;
    };

    /// Opens both, so that audio may be fed from here. The clock must outlive them.
    CaptureTranscribers(Clock& clock, CaptureTiming timing, Events events);

    /// Empty when it has been dropped.
    std::shared_ptr<TranscriptionSession> transcriber(Speaker speaker) const;
    bool isEmpty() const { return m_transcribers.isEmpty(); }
    /// Launches them in the background. Called once.
    void start(WarmSpeech speech);
    /// Waits for the start, then for the last words, which come before this is done.
    Task<> finish();
    /// Nothing is said from here on; flows under way come to nothing.
    void abandon();

  private:
    static Task<> launch(std::shared_ptr<CaptureTranscribers> self, WarmSpeech speech,
                         std::shared_ptr<Latch> started);
    void drop(Speaker speaker, const Failure& failure);

    CaptureTiming m_timing;
    Events m_events;
    QMap<Speaker, std::shared_ptr<LiveTranscriber>> m_transcribers;
    /// Open once the start is over; none before it.
    std::shared_ptr<Latch> m_started;
};

}  // namespace lumbro
