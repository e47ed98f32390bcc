#pragma once

#include "LumbroCore/Clock.h"
#include "platform/AudioServer.h"

#include <memory>

namespace lumbro {

/// The audio server behind libpulse: PulseAudio, or PipeWire through its PulseAudio protocol. Built in no
/// time; the library's thread starts with the first `attach`. The clock must outlive it.
class PulseAudioServer final : public AudioServer {
    Q_OBJECT

  public:
    explicit PulseAudioServer(Clock& clock);
    ~PulseAudioServer() override;

    Task<Result<>> attach() override;
    Task<Result<OpenedStream>> open(AudioStreamRequest request, AudioStreamEvents events) override;

  private:
    class Connection;
    void startConnecting();
    void connectionReady(AudioServerState state);
    void connectionLost(const QString& reason);
    void resolveWaiting(const Result<>& result);

    Clock& m_clock;
    std::shared_ptr<Connection> m_connection;
    struct Waiting;
    std::unique_ptr<Waiting> m_waiting;
    Timer m_timeout;
    Timer m_reconnect;
};

}  // namespace lumbro
