#pragma once

#include "platform/AudioServer.h"

#include <QList>
#include <QString>

#include <memory>
#include <vector>

namespace lumbro {

/// An audio server that a test plays: it sets the devices, hands over buffers and breaks streams.
class FakeAudioServer final : public AudioServer {
    Q_OBJECT

  public:
    FakeAudioServer();
    ~FakeAudioServer() override;

    Task<Result<>> attach() override;
    Task<Result<OpenedAudioStream>> open(AudioStreamRequest request, AudioStreamEvents events) override;

    /// Replaces the devices and users, with the signals of a real server.
    void set(AudioServerState state) { setState(std::move(state)); }
    /// One microphone "mic" and one output "speakers", both default. The state of a new server.
    static AudioServerState usualState();

    /// While false, `attach` fails as without a server.
    bool isRunning = true;
    /// The next so many calls of `open` fail with this reason.
    int failures = 0;
    QString failureReason;
    /// A device that has gone without a word: it is in the list, and cannot be opened.
    QString gone;
    /// What new streams declare.
    AudioFormat format{48000, 2};

    /// Every request so far, failed ones included.
    const QList<AudioStreamRequest>& requests() const { return m_requests; }
    /// How many streams of a kind are open now.
    int openStreams(AudioStreamRequest::Kind kind) const;
    /// Hands interleaved samples to the open streams of a kind, on the calling thread.
    void feed(AudioStreamRequest::Kind kind, std::span<const float> samples);
    /// Tells the open streams of a kind that their device has changed.
    void changeConfiguration(AudioStreamRequest::Kind kind);
    /// Ends the open streams of a kind with a failure.
    void breakStreams(AudioStreamRequest::Kind kind, const QString& reason);

  private:
    class Stream;
    std::vector<Stream*> streams(AudioStreamRequest::Kind kind) const;

    QList<AudioStreamRequest> m_requests;
    std::shared_ptr<std::vector<Stream*>> m_open;
};

}  // namespace lumbro
