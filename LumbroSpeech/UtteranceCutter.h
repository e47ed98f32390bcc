#pragma once

#include "LumbroSpeech/VoiceDetector.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace lumbro::speech {

/// A piece of an utterance in the order it is spoken.
struct UtterancePiece {
    enum class Kind { begin, audio, end };

    Kind kind = Kind::audio;
    /// Seconds from the stream's first sample to where the piece begins.
    double start = 0;
    std::vector<float> samples;
};

/// Cuts a stream of 16 kHz audio into utterances. An utterance opens on a run of speech windows, begins some
/// time before them, and closes after a pause or at its longest. What lies between utterances is dropped.
class UtteranceCutter {
  public:
    struct Limits {
        int windowsToOpen = 4;
        double preRoll = 0.3;
        double pauseToClose = 0.5;
        double longest = 20;

        bool operator==(const Limits&) const = default;
    };

    UtteranceCutter(std::unique_ptr<VoiceDetector> detector, Limits limits);
    explicit UtteranceCutter(std::unique_ptr<VoiceDetector> detector);

    /// Takes audio of any length; less than a window is kept for the next call.
    void feed(std::span<const float> samples, std::vector<UtterancePiece>& out);
    /// The stream is over: what is open is closed, with the rest of the audio.
    void finish(std::vector<UtterancePiece>& out);
    bool isOpen() const { return m_isOpen; }

  private:
    void takeWindow(std::span<const float> window, std::vector<UtterancePiece>& out);
    void takeWhileClosed(std::span<const float> window, bool isSpeech, std::vector<UtterancePiece>& out);
    void takeWhileOpen(std::span<const float> window, bool isSpeech, std::vector<UtterancePiece>& out);
    void close(std::vector<UtterancePiece>& out);

    std::unique_ptr<VoiceDetector> m_detector;
    Limits m_limits;
    std::vector<float> m_rest;
    std::deque<float> m_preRoll;
    int64_t m_position = 0;
    int64_t m_opened = 0;
    int m_speechWindows = 0;
    int64_t m_pause = 0;
    bool m_isOpen = false;
};

}  // namespace lumbro::speech
