#pragma once

#include <memory>
#include <span>

namespace lumbro::speech {

/// Tells speech from everything else, window by window. Keeps state between windows; one thread.
class VoiceDetector {
  public:
    VoiceDetector() = default;
    VoiceDetector(const VoiceDetector&) = delete;
    VoiceDetector& operator=(const VoiceDetector&) = delete;
    virtual ~VoiceDetector() = default;

    /// Samples in one window.
    virtual int windowSize() const = 0;
    /// Whether this window, which follows the one before without a gap, holds speech.
    virtual bool isSpeech(std::span<const float> window) = 0;
};

/// WebRTC's detector with a level gate in front of it, so that silence and hum never count as speech.
class WebRtcVoiceDetector final : public VoiceDetector {
  public:
    WebRtcVoiceDetector();
    ~WebRtcVoiceDetector() override;

    int windowSize() const override;
    bool isSpeech(std::span<const float> window) override;

  private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
};

}  // namespace lumbro::speech
