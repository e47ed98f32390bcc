#pragma once

#include "LumbroCore/Task.h"

#include <span>

namespace lumbro {

/// How long the end of a transcription may take.
enum class FinishWait {
    /// At most 2 s, for the end of a call.
    brief,
    /// Until every final has come, for a file that was fed faster than it was spoken. Ends early only when
    /// the recogniser makes no progress for a minute.
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
    /// Seconds of audio that were fed and not yet looked at. Any thread.
    virtual double backlog() const = 0;
};

}  // namespace lumbro
