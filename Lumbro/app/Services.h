#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/AudioServer.h"
#include "platform/CalendarStore.h"
#include "platform/TaskStore.h"
#include "recording/CaptureSession.h"
#include "runners/AgentRequest.h"

#include <QString>

#include <functional>
#include <memory>

namespace lumbro {

class ActionRunner;
class AppModel;
class AskService;
class CallDetector;
class ClaudeRunner;
class CodexRunner;
class Connectors;
class ContextLibrary;
class DailyIdeas;
class EngineInbox;
class FeedGate;
class Librarian;
class MeetingPrep;
class MemoryStore;
class Organizer;
class PromiseReminder;
class SessionImporter;
class SetupChecks;
class SpeechAssets;

/// Makes every service when it is first asked for, with its ports, and owns it: a command builds only what it
/// uses. Main thread.
class Services {
  public:
    /// Stand-ins, for tests and for recordings from files. Set before the service in question is first asked
    /// for.
    struct Replacements {
        std::unique_ptr<Clock> clock;
        /// Dates the recordings alone. None: that clock does.
        std::unique_ptr<Clock> recordingClock;
        std::unique_ptr<Settings> settings;
        std::unique_ptr<AgentProvider> agent;
        std::unique_ptr<AudioServer> audioServer;
        std::unique_ptr<CalendarStore> calendar;
        std::unique_ptr<TaskStore> tasks;
        /// Fills in or replaces what a new recording works with; asked at the start of every recording.
        /// Where it puts in no microphone, that of the settings is used. May be empty.
        std::function<void(CaptureSession::Ports&)> prepareSession;
        /// Empty: as the environment says.
        QString libraryRoot;
        /// The language to recognise, as a BCP 47 identifier. Empty: the system's.
        QString speechLocale;
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
    /// Its files are made and read when it is first asked for.
    MemoryStore& memory();
    Librarian& librarian();
    SessionImporter& sessionImporter();
    /// Its conversations are not yet read: whoever needs them calls `reload`.
    AskService& ask();
    /// The agent that the settings prefer.
    AgentProvider& agent();
    ClaudeRunner& claude();
    CodexRunner& codex();
    /// Not yet checked: whoever needs them calls `refresh`.
    Connectors& connectors();
    /// From now on questions have the connectors checked. Until then they know those of the last check of any
    /// process, since a command ends too soon to hear of its own.
    void followConnectors();
    /// Its runs are not yet read: the application calls `load`.
    ActionRunner& actionRunner();
    AudioServer& audioServer();
    /// The user's events and tasks, where the settings say that they are kept.
    Organizer& organizer();
    /// The same, or their stand-ins.
    CalendarStore& calendar();
    TaskStore& tasks();
    SpeechAssets& speechAssets();
    SetupChecks& setupChecks();
    AppModel& model();
    MeetingPrep& meetingPrep();
    DailyIdeas& dailyIdeas();
    PromiseReminder& promiseReminder();
    EngineInbox& engineInbox();
    CallDetector& callDetector();

  private:
    Clock& recordingClock();
    std::unique_ptr<RecordingSession> makeSession(const CaptureRecord& record, bool includeSystemAudio);

    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
