#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "platform/AudioSource.h"

#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

/// A microphone or an output. `id` is stable across restarts and is what settings store.
struct AudioDevice {
    QString id;
    QString name;
    bool isDefault = false;
    /// Of an output only: the device that carries what it plays.
    QString monitor;

    bool operator==(const AudioDevice&) const = default;
};

/// An application that is recording from a microphone. `bundleID` is the identifier that the rules for
/// meeting applications use, or the application's own identity when they know none.
struct MicrophoneUser {
    QString name;
    QString bundleID;

    bool operator==(const MicrophoneUser&) const = default;
};

/// What an audio server has and does at one moment. Monitors of outputs are never among the microphones.
struct AudioServerState {
    QList<AudioDevice> microphones;
    QList<AudioDevice> outputs;
    QList<MicrophoneUser> microphoneUsers;

    bool operator==(const AudioServerState&) const = default;
};

/// What to record: a microphone (an empty `deviceID` follows the default one), or what the output `deviceID`
/// plays.
struct AudioStreamRequest {
    enum class Kind { microphone, output };

    Kind kind = Kind::microphone;
    QString deviceID;

    bool operator==(const AudioStreamRequest&) const = default;
};

/// What an open stream reports.
struct AudioStreamEvents {
    /// On the stream's audio thread; the format stays the same for the stream's life.
    AudioSource::Consumer onBuffer;
    /// Main thread: the stream has been moved to another device and delivers no more; open a new one.
    std::function<void()> onConfigurationChanged;
    /// Main thread, at most once: the device or the server has gone, with the reason.
    std::function<void(const QString&)> onFailed;
};

/// A running stream. Destroying it ends it: no callback begins after that. Main thread.
class AudioStream {
  public:
    AudioStream() = default;
    AudioStream(const AudioStream&) = delete;
    AudioStream& operator=(const AudioStream&) = delete;
    virtual ~AudioStream() = default;

    /// The device's own rate and channels.
    virtual AudioFormat format() const = 0;
    /// The device that is recorded; for an output its monitor.
    virtual QString deviceID() const = 0;
};

/// A stream that has just been opened.
struct OpenedAudioStream {
    std::unique_ptr<AudioStream> stream;
};

/// The system's audio server: its devices, who uses the microphone, and streams. Main thread only. Nothing
/// happens before `attach`, and all lists are empty while no server answers.
class AudioServer : public QObject {
    Q_OBJECT

  public:
    /// Connects and reads the state; at once when that has been done. Fails within a few seconds, with a
    /// sentence, when there is no server. After the first success a server that goes and comes back is
    /// found again by itself.
    virtual Task<Result<>> attach() = 0;
    /// Opens a stream. Fails with the server's reason as message. The server must outlive the stream.
    virtual Task<Result<OpenedAudioStream>> open(AudioStreamRequest request, AudioStreamEvents events) = 0;

    const QList<AudioDevice>& microphones() const { return m_state.microphones; }
    const QList<AudioDevice>& outputs() const { return m_state.outputs; }
    /// Who is recording from a microphone now, this process left out.
    const QList<MicrophoneUser>& usingMicrophone() const { return m_state.microphoneUsers; }
    /// The default device's id, or empty when there is none.
    QString defaultMicrophone() const;
    QString defaultOutput() const;

  Q_SIGNALS:
    void devicesChanged();
    void defaultMicrophoneChanged();
    void defaultOutputChanged();
    void microphoneUsersChanged();

  protected:
    /// Takes over a new state and says what is different in it.
    void setState(AudioServerState state);

  private:
    AudioServerState m_state;
};

}  // namespace lumbro
