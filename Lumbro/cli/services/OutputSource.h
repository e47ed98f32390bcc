#pragma once

#include "platform/AudioServer.h"
#include "platform/AudioSource.h"

#include <QString>

#include <memory>

namespace lumbro::cli {

/// What one chosen output plays, whichever output is the default. The server must outlive it.
class OutputSource final : public AudioSource {
  public:
    OutputSource(AudioServer& server, QString deviceID);
    ~OutputSource() override;

    Task<Result<>> start(Consumer onBuffer) override;
    void stop() override;

  private:
    AudioServer& m_server;
    QString m_deviceID;
    std::unique_ptr<AudioStream> m_stream;
};

}  // namespace lumbro::cli
