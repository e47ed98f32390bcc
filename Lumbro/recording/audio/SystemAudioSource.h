#pragma once

#include "LumbroCore/Clock.h"
#include "platform/AudioServer.h"
#include "platform/AudioSource.h"

#include <QString>

#include <memory>

namespace lumbro {

/// Everything that the default output plays, or a chosen one. When the default output changes, or the output
/// goes, the source is rebuilt half a second after the last such event, in up to five attempts; a chosen
/// output is also taken again when it comes back later.
class SystemAudioSource final : public AudioSource {
  public:
    /// What is passed in must outlive the source. `output` is the id of the chosen output.
    SystemAudioSource(AudioServer& server, Clock& clock, QString output = {});
    ~SystemAudioSource() override;

    /// Fails with the kind systemAudio.
    Task<Result<>> start(Consumer onBuffer) override;
    void stop() override;

  private:
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
