#pragma once

#include "LumbroCore/Task.h"

#include <span>

namespace lumbro {

/// How long the end of a transcription may take.
enum class FinishWait {
    /// At most 2 s, for the end of a call.
    brief,
    /// Until every final has come, as where a file was fed faster than it was spoken or a command can wait.
    /// Ends early only when the recogniser makes no progress, with any track, for a minute.
    allFinals,
};

/// What becomes of audio once a recogniser has it.
enum class FedAudio {
    /// It is gone: a recogniser that is opened anew goes on with what is said then, as a call does.
    heardOnce,
    /// What has no final words yet is kept for a recogniser that is opened anew, so that no word of a file is
    /// lost with the one before.
    keptForReplay,
};

/// A track's transcription as the audio pipeline and the capture hold it.
class TranscriptionSession {
  public:
    TranscriptionSession() = default;
    TranscriptionSession(const TranscriptionSession&) = delete;
    TranscriptionSession& operator=(const TranscriptionSession&) = delete;
    virtual ~TranscriptionSession() = default;

    /// Takes 16 kHz mono samples and their level on the meter's scale from 0 to 1. Audio thread; returns at
    /// once.
    virtual void feed(std::span<const float> samples, float level) = 0;
    /// Ends it; finals come until this returns and none after. Main thread.
    virtual Task<> finish(FinishWait wait = FinishWait::brief) = 0;
    /// Ends a `finish` that waits, or keeps one that is to come from waiting. Main thread.
    virtual void stopWaiting() = 0;
    /// Seconds of audio that were fed and not yet looked at. Any thread.
    virtual double backlog() const = 0;
    /// Seconds of audio that were fed and have no words yet; 0 when all of it is silence. Any thread.
    virtual double unheard() const = 0;
    /// Seconds of sound that will have no words: the recogniser was too late for it, was started anew, or had
    /// been given up on. Complete after `finish`. Any thread.
    virtual double lost() const = 0;
};

}  // namespace lumbro
