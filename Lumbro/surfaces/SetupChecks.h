#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/AudioSource.h"
#include "runners/ClaudeRunner.h"
#include "runners/CodexRunner.h"
#include "surfaces/PermissionState.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// What the setup checks need of the machine. Every one must be set.
struct SetupPorts {
    /// Whether the microphone may be used, without asking the user: `allowed`, `denied` or `unknown`.
    std::function<Task<PermissionState>()> microphone;
    /// Tries the microphone; true when it may be used.
    std::function<Task<bool>()> requestMicrophone;
    /// A new source of the system's audio, not started.
    std::function<std::unique_ptr<AudioSource>()> systemAudio;
    /// Whether a speech model is installed.
    std::function<bool()> isSpeechInstalled;
    /// Installs one, telling its progress from 0 to 1.
    std::function<Task<Result<>>(std::function<void(double)> onProgress)> installSpeech;
};

/// What onboarding and Settings show about permissions and the two agent command lines. Main thread. The
/// flows check that the object is still there, so it may go at any time; settings, clock and runners must
/// outlive the flows.
class SetupChecks final : public QObject {
    Q_OBJECT

  public:
    SetupChecks(Settings& settings, Clock& clock, ClaudeRunner& claude, CodexRunner& codex, SetupPorts ports,
                QObject* parent = nullptr);

    PermissionState mic() const { return m_mic; }
    PermissionState systemAudio() const { return m_systemAudio; }
    PermissionState speech() const { return m_speech; }
    std::optional<QString> claudePath() const { return m_claudePath; }
    PermissionState claude() const { return m_claude; }
    /// One sentence about the last test of Claude; empty before it.
    QString claudeMessage() const { return m_claudeMessage; }
    std::optional<QString> codexPath() const { return m_codexPath; }
    PermissionState codex() const { return m_codex; }
    QString codexMessage() const { return m_codexMessage; }

    /// Reads anew what can be read without asking or trying anything.
    Task<> refresh();
    Task<> requestMic();
    /// Tries to hear the system's audio; the outcome goes to the setting `systemAudioAllowed`.
    Task<> requestSystemAudio();
    Task<> installSpeech();
    /// One real run each, with the outcome as state and message.
    Task<> testClaude();
    Task<> testCodex();

  Q_SIGNALS:
    /// Some field has another value now.
    void changed();

  private:
    template <typename T>
    void set(T& field, const T& value);
    void setClaude(PermissionState state, const QString& message);
    void setCodex(PermissionState state, const QString& message);

    Settings& m_settings;
    Clock& m_clock;
    ClaudeRunner& m_claudeRunner;
    CodexRunner& m_codexRunner;
    SetupPorts m_ports;

    PermissionState m_mic;
    PermissionState m_systemAudio;
    PermissionState m_speech;
    std::optional<QString> m_claudePath;
    PermissionState m_claude;
    QString m_claudeMessage;
    std::optional<QString> m_codexPath;
    PermissionState m_codex;
    QString m_codexMessage;
};

}  // namespace lumbro
