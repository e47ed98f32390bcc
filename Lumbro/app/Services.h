#pragma once

#include "LumbroCore/Task.h"
#include "platform/AudioSource.h"

#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

class AgentProvider;
class AppModel;
class AudioServer;
class Clock;
class ContextLibrary;
class Settings;
class SetupChecks;
class SpeechAssets;

/// Makes every service when it is first asked for, with its ports, and owns it: a command builds only what it
/// uses. Main thread.
class Services {
  public:
    /// Stand-ins, for tests and for recordings from files. Set before the service in question is first asked
    /// for; sources are asked for at the start of every recording.
    struct Replacements {
        std::unique_ptr<Clock> clock;
        std::unique_ptr<Settings> settings;
        std::unique_ptr<AgentProvider> agent;
        std::unique_ptr<AudioServer> audioServer;
        std::function<std::unique_ptr<AudioSource>()> microphone;
        std::function<std::unique_ptr<AudioSource>()> systemAudio;
        /// Sources deliver faster than real time, as files do.
        bool fastAudio = false;
        /// Empty: as the environment says.
        QString libraryRoot;
    };

    explicit Services(Replacements replacements = {});
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    Replacements& replacements();

    /// The machine's clock, with the date that the environment may fix.
    Clock& clock();
    Settings& settings();
    /// Not yet read: the application calls `bootstrap`, a command `open`.
    ContextLibrary& library();
    /// The agent that the settings prefer.
    AgentProvider& agent();
    AudioServer& audioServer();
    SpeechAssets& speechAssets();
    SetupChecks& setupChecks();
    AppModel& model();

  private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
