#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Task.h"
#include "platform/AudioSource.h"
#include "recording/CaptureTiming.h"
#include "recording/FeedGate.h"
#include "recording/transcription/TranscriptionSession.h"
#include "recording/transcription/WarmSpeech.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;

/// What a capture session works with. References must outlive it.
struct CapturePorts {
    ContextLibrary& library;
    Clock& clock;
    std::unique_ptr<AudioSource> microphone = {};
    /// Started only with `includeSystemAudio`; may be missing otherwise.
    std::unique_ptr<AudioSource> system = {};
    /// Whether the microphone may be used; asks the user when that is open. Empty: it may.
    std::function<Task<bool>()> authorizeMicrophone = {};
    /// The recogniser when a speech model is there, as `SpeechAssets::warm`. Empty: no transcript.
    std::function<Task<std::optional<WarmSpeech>>()> warmSpeech = {};
    /// The time of the audio threads, from any fixed moment; called on them. Empty: the machine's.
    std::function<std::chrono::nanoseconds()> monotonic = {};
    CaptureTiming timing = CaptureTiming::live;
    /// How long the stop may wait for the last words; with the audio's own timing always for all of them.
    FinishWait finishWait = FinishWait::brief;
    /// What is said when there is no speech model; empty: nothing.
    QString withoutModel = u"The speech model is still downloading. Audio is being recorded."_s;
    /// The gate of the files that the recording is fed from; none for devices.
    std::shared_ptr<FeedGate> gate = {};
};

}  // namespace lumbro
