#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "library/formats/TranscriptSegment.h"
#include "recording/CaptureTiming.h"
#include "recording/Latch.h"
#include "recording/transcription/TranscriptionSession.h"
#include "recording/transcription/WarmSpeech.h"

#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

class LiveTranscriber;

/// The transcribers of a recording, one for each speaker who may be heard, from their opening to their last
/// words. One that cannot be started goes; the other stays. Main thread.
class CaptureTranscribers final : public std::enable_shared_from_this<CaptureTranscribers> {
  public:
    /// What they have to say. All of these must be set.
    struct Events {
        std::function<void(const TranscriptSegment&)> onFinal;
        /// The current guess of a speaker; empty means none.
        std::function<void(Speaker, const QString&)> onVolatile;
        /// A sentence for the user.
        std::function<void(const QString&)> onNotice;
        /// The speaker's transcriber could not be started.
        std::function<void(Speaker)> onDropped;
    };

    /// What they are to do.
    struct Plan {
        CaptureTiming timing = CaptureTiming::live;
        /// With the audio's own timing no word may be lost, whatever this says.
        FinishWait wait = FinishWait::brief;
        QList<Speaker> speakers;
    };

    /// Opens one for each of the speakers, so that audio may be fed from here. The clock must outlive them.
    CaptureTranscribers(Clock& clock, const Plan& plan, Events events);

    /// Empty when there is none or it has been dropped.
    std::shared_ptr<TranscriptionSession> transcriber(Speaker speaker) const;
    bool isEmpty() const { return m_transcribers.isEmpty(); }
    /// Launches them in the background. Called once.
    void start(WarmSpeech speech);
    /// Waits for the start, then for the last words, which come before this is done.
    Task<> finish();
    /// Ends a `finish` that waits, also for the start.
    void stopWaiting();
    /// Seconds of audio that have no words yet, of the track that has more.
    double unheard() const;
    /// Seconds of sound that will have no words, of the track that has more. Complete after `finish`.
    double lost() const;
    /// Nothing is said from here on; flows under way come to nothing.
    void abandon();

  private:
    static Task<> launch(std::shared_ptr<CaptureTranscribers> self, WarmSpeech speech,
                         std::shared_ptr<Latch> started);
    void drop(Speaker speaker, const Failure& failure);

    FinishWait m_wait;
    Events m_events;
    QMap<Speaker, std::shared_ptr<LiveTranscriber>> m_transcribers;
    /// Those that could not be started. They go on to count what they miss.
    QList<std::shared_ptr<LiveTranscriber>> m_dropped;
    /// Open once the start is over; none before it.
    std::shared_ptr<Latch> m_started;
};

}  // namespace lumbro
