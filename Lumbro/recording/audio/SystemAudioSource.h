#pragma once

#include "LumbroCore/Clock.h"
#include "platform/AudioServer.h"
#include "platform/AudioSource.h"

#include <memory>

namespace lumbro {

/// Everything that the default output plays. When the default output changes or goes, the source is rebuilt
/// half a second after the last such event, in up to five attempts.
class SystemAudioSource final : public AudioSource {
  public:
    /// What is passed in must outlive the source.
    SystemAudioSource(AudioServer& server, Clock& clock);
    ~SystemAudioSource() override;

    /// Fails with the kind systemAudio.
    Task<Result<>> start(Consumer onBuffer) override;
    void stop() override;

  private:
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
