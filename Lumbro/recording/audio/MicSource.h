#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/AudioServer.h"
#include "platform/AudioSource.h"

#include <QString>

#include <memory>

namespace lumbro {

/// The microphone of the setting `microphoneDeviceUID`, or the default one. When its route changes it is
/// opened anew, in up to five attempts; after the fifth failure it stays silent until there is another
/// default.
class MicSource final : public AudioSource {
  public:
    /// `label` is the tag of its log lines. What is passed in must outlive the source.
    MicSource(AudioServer& server, Clock& clock, Settings& settings, QString label);
    ~MicSource() override;

    /// Fails with the kind micUnavailable or micDenied.
    Task<Result<>> start(Consumer onBuffer) override;
    void stop() override;

  private:
    struct Private;
    std::shared_ptr<Private> m_private;
};

}  // namespace lumbro
