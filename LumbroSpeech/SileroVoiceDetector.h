#pragma once

#include "LumbroSpeech/VoiceDetector.h"

#include <QString>

#include <memory>

namespace lumbro::speech {

/// The Silero voice detector, run by whisper.cpp: better in noise than the built-in one.
class SileroVoiceDetector final : public VoiceDetector {
  public:
    /// Null when the model file is missing or broken.
    static std::unique_ptr<VoiceDetector> load(const QString& modelPath);
    ~SileroVoiceDetector() override;

    int windowSize() const override { return 512; }
    bool isSpeech(std::span<const float> window) override;

  private:
    struct Handle;
    explicit SileroVoiceDetector(std::unique_ptr<Handle> handle);

    std::unique_ptr<Handle> m_handle;
    bool m_wasSpeech = false;
};

}  // namespace lumbro::speech
