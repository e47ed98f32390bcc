#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "platform/AudioServer.h"
#include "recording/CallWatch.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace lumbro {

/// What happens when a call starts. Not stored: it stands for two settings.
enum class CallStartAction { nothing, offer, record };

/// "nothing", "offer" or "record".
QString rawValue(CallStartAction action);

/// Notices that a meeting application has taken the microphone, and offers or starts a recording; when the
/// microphone is let go, says that the call has ended. Looks every two seconds. Main thread.
class CallDetector final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString activeApp READ activeApp NOTIFY activeChanged)

  public:
    static constexpr std::chrono::seconds interval{2};

    /// What a call sets going. Every default is the port's absence.
    struct Ports {
        std::function<bool()> isRecording = [] { return false; };
        /// The running recording learns which application the call is in.
        std::function<void(MicrophoneUser)> noteCallApp = [](auto) {};
        std::function<void()> takeNotes = [] {};
        std::function<void(QString app)> offerCapture = [](auto) {};
        /// A call has ended, whether or not it was recorded.
        std::function<void()> callEnded = [] {};
    };

    /// References must outlive the detector.
    CallDetector(Clock& clock, Settings& settings, AudioServer& server, Ports ports);
    ~CallDetector() override;

    /// One look at the microphone; called every `interval`. Connects to the audio server when need be, and
    /// tries again every ten seconds while there is none.
    void tick();

    /// The call in progress, by the name of its application and by its bundle identifier; empty without one.
    QString activeApp() const { return active().name; }
    QString activeBundleID() const { return active().bundleID; }

    /// Who uses the microphone; nothing while no server answers.
    static std::optional<QList<MicrophoneUser>> users(const AudioServer& server);
    /// What the settings make of a start, and how one is chosen.
    static CallStartAction startAction(const Settings& settings);
    static void setStartAction(Settings& settings, CallStartAction action);

  Q_SIGNALS:
    void activeChanged();

  private:
    MicrophoneUser active() const { return m_watch.active().value_or(MicrophoneUser()); }
    Task<> attach();
    void callStarted(const MicrophoneUser& app);

    Clock& m_clock;
    Settings& m_settings;
    AudioServer& m_server;
    Ports m_ports;
    CallWatch m_watch;
    bool m_isAttached = false;
    bool m_isAttaching = false;
    std::optional<Clock::Duration> m_nextAttempt;
};

}  // namespace lumbro
