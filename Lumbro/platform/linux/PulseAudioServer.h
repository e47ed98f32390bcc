#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Mailbox.h"
#include "platform/AudioServer.h"
#include "platform/linux/PulseConnection.h"

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
    Task<Result<OpenedAudioStream>> open(AudioStreamRequest request, AudioStreamEvents events) override;

  private:
    struct Waiting;
    void startConnecting();
    void takeSnapshot(const PulseSnapshot& snapshot);
    void takeProbed(const PulseDefaults& defaults);
    void publish();
    void probeIn(Clock::Duration delay);
    void connectionLost();
    void resolveWaiting(const Result<>& result);

    Clock& m_clock;
    std::shared_ptr<PulseConnection> m_connection;
    /// Counts connections, so that a late word of an old one is known as such.
    int m_generation = 0;
    bool m_attached = false;
    bool m_everAttached = false;
    PulseSnapshot m_snapshot;
    /// Those that count: what the server told last, over this connection or a later one.
    PulseDefaults m_defaults;
    PulseDefaults m_probed;
    std::unique_ptr<Waiting> m_waiting;
    Timer m_timeout;
    /// Brings what the connection says on its thread.
    Mailbox m_mailbox;
    Timer m_reconnect;
    Timer m_probing;
};

}  // namespace lumbro
