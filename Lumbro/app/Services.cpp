#include "app/Services.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "actions/ActionLinks.h"
#include "actions/ActionRunner.h"
#include "actions/CalendarExport.h"
#include "actions/Connectors.h"
#include "app/ServiceWiring.h"
#include "ask/AskService.h"
#include "chats/SessionImporter.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "meetings/MeetingPrep.h"
#include "memory/DailyIdeas.h"
#include "memory/Librarian.h"
#include "memory/MemoryStore.h"
#include "memory/PromiseReminder.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/linux/desktop/DesktopLinks.h"
#include "platform/linux/desktop/OpenOrganizer.h"
#include "recording/audio/AudioArchive.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/SystemAudioSource.h"
#include "recording/transcription/SpeechAssets.h"
#include "runners/ClaudeRunner.h"
#include "runners/CodexRunner.h"
#include "runners/CommandProviders.h"
#include "runners/PreferredAgent.h"

#include <QPointer>

#include <utility>

namespace lumbro {

namespace {

/// The model's question with the words of the running recording.
AskQuestion questionOf(AskCall call) {
    AskQuestion question;
    question.question = call.question;
    question.about = call.about;
    question.scope = call.scope;
    question.engine = call.engine;
    question.onAnswer = std::move(call.onAnswer);
    question.onError = std::move(call.onError);
    if (const auto* session = qobject_cast<const CaptureSession*>(call.live)) {
        question.live = AskLiveCall{session->record().id(), session->segments()};
    }
    return question;
}

Task<QList<AskMeeting>> nextMeetings(QPointer<MeetingPrep> prep, int limit) {
    co_await prep->refresh();
    QList<AskMeeting> meetings;
    if (prep && prep->access() == CalendarAccess::full) {
        for (const PrepEvent& event : prep->nextEvents(limit)) {
            const auto brief = prep->brief(event);
            meetings.append({.title = event.title,
                             .start = event.start,
                             .names = event.attendeeNames(),
                             .brief = brief ? std::optional(brief->id()) : std::nullopt});
        }
    }
    co_return std::move(meetings);
}

Task<> importChats(SessionImporter* importer, QDateTime since) {
    [[maybe_unused]] const auto logged = co_await importer->importNow(false, since, false);
}

bool isOffered(const PillMode& mode, const PrepEvent& event) {
    const auto* shown = std::get_if<pill::Meeting>(&mode);
    return shown != nullptr && shown->offer.event.key() == event.key();
}

Task<Result<>> memorize(Librarian* librarian, CaptureRecord record) {
    const auto pass = co_await librarian->run(std::move(record));
    co_return pass ? Result<>() : std::unexpected(pass.error());
}

Task<> memorizeQuietly(Librarian* librarian, CaptureRecord record) {
    [[maybe_unused]] const auto logged = co_await librarian->run(std::move(record));
}

QList<AskConnector> askConnectors(const QList<Connector>& connectors) {
    QList<AskConnector> list;
    for (const Connector& connector : connectors) {
        list.append({connector.id, connector.app});
    }
    return list;
}

/// Shows what a run made.
void openResult(const ActionRunner& runner, const QString& runID) {
    const ActionLinks links(desktopLinks::open, desktopLinks::hasHandler);
    if (const auto run = runner.run(runID); run && !links.open(*run)) {
        AppLog::error(u"action"_s, u"%1 couldn't be opened."_s.arg(runID));
    }
}

}  // namespace

/// In the order of their making: what stands later may refer to what stands earlier.
struct Services::Private {
    Replacements replacements;
    std::unique_ptr<Clock> clock;
    std::unique_ptr<Settings> settings;
    CommandProviders commandProviders;
    std::unique_ptr<ClaudeRunner> claude;
    std::unique_ptr<CodexRunner> codex;
    std::unique_ptr<AgentProvider> agent;
    std::unique_ptr<AudioServer> audioServer;
    std::unique_ptr<Organizer> organizer;
    std::unique_ptr<SpeechAssets> speechAssets;
    std::unique_ptr<ContextLibrary> library;
    std::unique_ptr<MemoryStore> memory;
    std::unique_ptr<Librarian> librarian;
    std::unique_ptr<SessionImporter> sessionImporter;
    std::unique_ptr<Connectors> connectors;
    bool followsConnectors = false;
    std::unique_ptr<ActionRunner> actionRunner;
    std::unique_ptr<AskService> ask;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<MeetingPrep> meetingPrep;
    std::unique_ptr<DailyIdeas> dailyIdeas;
    std::unique_ptr<PromiseReminder> promiseReminder;
    std::unique_ptr<EngineInbox> engineInbox;
    std::unique_ptr<CallDetector> callDetector;
    std::unique_ptr<SetupChecks> setupChecks;
};

Services::Services(Replacements replacements) : m_private(std::make_unique<Private>()) {
    m_private->replacements = std::move(replacements);
}

Services::~Services() = default;

Services::Replacements& Services::replacements() {
    return m_private->replacements;
}

namespace {

/// The service, made on first use: a stand-in where there is one.
template <typename Service, typename Make>
Service& once(std::unique_ptr<Service>& service, std::unique_ptr<Service>& standIn, const Make& make) {
    if (!service) {
        service = standIn ? std::move(standIn) : make();
    }
    return *service;
}

template <typename Service, typename Make>
Service& once(std::unique_ptr<Service>& service, const Make& make) {
    std::unique_ptr<Service> none;
    return once(service, none, make);
}

}  // namespace

Clock& Services::clock() {
    return once(m_private->clock, m_private->replacements.clock, []() -> std::unique_ptr<Clock> {
        return std::make_unique<SystemClock>(SystemClock::dateFromEnvironment());
    });
}

Clock& Services::recordingClock() {
    Clock* const own = m_private->replacements.recordingClock.get();
    return own != nullptr ? *own : clock();
}

Settings& Services::settings() {
    return once(m_private->settings, m_private->replacements.settings,
                [] { return std::make_unique<Settings>(); });
}

ContextLibrary& Services::library() {
    return once(m_private->library, [this] {
        const QString& root = m_private->replacements.libraryRoot;
        return std::make_unique<ContextLibrary>(
            root.isEmpty() ? ContextLibrary::rootFromEnvironment() : root, clock(),
            ContextLibrary::Hooks{.packTracks = audioArchive::packAll,
                                  .bootMemory = [this] { memory(); },
                                  .reloadMemory = [this] { memory().reload(false); }});
    });
}

MemoryStore& Services::memory() {
    return once(m_private->memory, [this] {
        auto memory = std::make_unique<MemoryStore>(library(), clock(), settings());
        memory->bootstrap();
        return memory;
    });
}

Librarian& Services::librarian() {
    return once(m_private->librarian,
                [this] { return std::make_unique<Librarian>(library(), memory(), agent(), clock()); });
}

SessionImporter& Services::sessionImporter() {
    return once(m_private->sessionImporter, [this] {
        return std::make_unique<SessionImporter>(
            clock(), settings(), library(),
            [this](CaptureRecord record) { return memorizeQuietly(&librarian(), std::move(record)); });
    });
}

AskService& Services::ask() {
    return once(m_private->ask, [this] {
        AskPorts ports;
        ports.refreshConnectors = [this] {
            if (m_private->followsConnectors) {
                connectors().refresh();
            }
        };
        ports.connectors = [this] {
            return askConnectors(m_private->followsConnectors ? connectors().usable()
                                                              : connectors().remembered());
        };
        ports.nextMeetings = [this](int limit) { return nextMeetings(&meetingPrep(), limit); };
        ports.calendarIsDenied = [this] { return calendar().access() == CalendarAccess::denied; };
        ports.calendarContext = [this] { return calendarExport::context(&calendar(), clock().now()); };
        return std::make_unique<AskService>(clock(), settings(), library(), memory(), agent(),
                                            std::move(ports));
    });
}

ClaudeRunner& Services::claude() {
    return once(m_private->claude, [this] { return std::make_unique<ClaudeRunner>(settings(), clock()); });
}

CodexRunner& Services::codex() {
    return once(m_private->codex, [this] { return std::make_unique<CodexRunner>(settings(), clock()); });
}

AgentProvider& Services::agent() {
    return once(m_private->agent, m_private->replacements.agent, [this]() -> std::unique_ptr<AgentProvider> {
        return std::make_unique<PreferredAgent>(settings(), clock(), m_private->commandProviders, claude(),
                                                codex());
    });
}

Connectors& Services::connectors() {
    return once(m_private->connectors, [this] {
        return std::make_unique<Connectors>(clock(), [this] { return claude().locate(); });
    });
}

void Services::followConnectors() {
    m_private->followsConnectors = true;
}

ActionRunner& Services::actionRunner() {
    return once(m_private->actionRunner, [this] {
        return std::make_unique<ActionRunner>(
            clock(), agent(), [this](const QString& id) { return connectors().find(id); }, library().root());
    });
}

AudioServer& Services::audioServer() {
    return once(
        m_private->audioServer, m_private->replacements.audioServer,
        [this]() -> std::unique_ptr<AudioServer> { return std::make_unique<PulseAudioServer>(clock()); });
}

Organizer& Services::organizer() {
    return once(m_private->organizer, [this] { return openOrganizer(settings(), clock()); });
}

CalendarStore& Services::calendar() {
    CalendarStore* standIn = m_private->replacements.calendar.get();
    return standIn == nullptr ? organizer() : *standIn;
}

TaskStore& Services::tasks() {
    TaskStore* standIn = m_private->replacements.tasks.get();
    return standIn == nullptr ? organizer() : *standIn;
}

SpeechAssets& Services::speechAssets() {
    return once(m_private->speechAssets, [this] {
        return std::make_unique<SpeechAssets>(settings(), m_private->replacements.speechLocale);
    });
}

SetupChecks& Services::setupChecks() {
    return once(m_private->setupChecks, [this] { return wiring::setupChecks(*this); });
}

EngineInbox& Services::engineInbox() {
    return once(m_private->engineInbox, [this] { return wiring::engineInbox(*this); });
}

CallDetector& Services::callDetector() {
    return once(m_private->callDetector, [this] { return wiring::callDetector(*this); });
}

AppModel& Services::model() {
    return once(m_private->model, [this] {
        ModelPorts ports;
        ports.makeSession = [this](const CaptureRecord& record, bool includeSystemAudio) {
            return makeSession(record, includeSystemAudio);
        };
        ports.wouldMemorize = [this](const CaptureRecord& record) { return librarian().wouldRead(record); };
        ports.memorize = [this](CaptureRecord record) { return memorize(&librarian(), std::move(record)); };
        ports.calendarContext = [this] { return calendarExport::context(&calendar(), clock().now()); };
        ports.ask = [this](AskCall call) { return ask().ask(questionOf(std::move(call))); };
        ports.openActionResult = [this](const QString& runID) { openResult(actionRunner(), runID); };
        ports.eventNow = [this] { return meetingPrep().eventNow(); };
        ports.eventLink = [this](const QString& id) { return meetingPrep().link(id); };
        ports.openLink = desktopLinks::open;
        wiring::connectCalls(ports, *this);
        ports.completePromise = [this](const QString& id) { runDetached(memory().setPromise(id, true)); };
        ports.cancelAsk = [this](const QString& thread) { ask().cancel(thread); };
        return std::make_unique<AppModel>(library(), settings(), recordingClock(), agent(), std::move(ports));
    });
}

MeetingPrep& Services::meetingPrep() {
    return once(m_private->meetingPrep, [this] {
        return std::make_unique<MeetingPrep>(MeetingPrep::Ports{
            .calendar = calendar(),
            .clock = clock(),
            .settings = settings(),
            .library = library(),
            .memory = memory(),
            .agent = agent(),
            .present = [this](const MeetingOffer& offer) { model().presentMeeting(offer); },
            .isPresented =
                [this](const PrepEvent& event) { return isOffered(model().pill().mode(), event); }});
    });
}

DailyIdeas& Services::dailyIdeas() {
    return once(m_private->dailyIdeas, [this] {
        return std::make_unique<DailyIdeas>(DailyIdeas::Ports{
            .clock = clock(),
            .settings = settings(),
            .library = library(),
            .memory = memory(),
            .agent = agent(),
            .isRecording = [this] { return model().captures().isRecording(); },
            .voice = [this] { return model().selectedVoice(); },
            .importChats = [this](const QDateTime& since) { return importChats(&sessionImporter(), since); },
            .present = [this](const QList<DailyIdea>& ideas) { model().presentIdeas(ideas); },
            .say = [this](const QString& text) { model().pill().say(text); },
            .sayError = [this](const QString& text) { model().pill().sayError(text); }});
    });
}

PromiseReminder& Services::promiseReminder() {
    return once(m_private->promiseReminder, [this] {
        return std::make_unique<PromiseReminder>(PromiseReminder::Ports{
            .clock = clock(),
            .settings = settings(),
            .memory = memory(),
            .present = [this](const QStringList& ids) { model().presentPromises(ids); },
            .say = [this](const QString& text) { model().pill().say(text); }});
    });
}

std::unique_ptr<RecordingSession> Services::makeSession(const CaptureRecord& record,
                                                        bool includeSystemAudio) {
    CaptureSession::Ports ports{
        .library = library(),
        .clock = recordingClock(),
        .microphone = nullptr,
        .system = std::make_unique<SystemAudioSource>(audioServer(), clock()),
        .authorizeMicrophone = {},
        .warmSpeech = [this] { return speechAssets().warm(); },
        .monotonic = {},
        .timing = CaptureTiming::live,
        .gate = nullptr,
    };
    if (m_private->replacements.prepareSession) {
        m_private->replacements.prepareSession(ports);
    }
    if (!ports.microphone) {
        ports.microphone = std::make_unique<MicSource>(audioServer(), clock(), settings(), u"capture-mic"_s);
    }
    const bool hasSystemAudio = includeSystemAudio && ports.system != nullptr;
    return std::make_unique<CaptureSession>(record, hasSystemAudio, std::move(ports));
}

}  // namespace lumbro
