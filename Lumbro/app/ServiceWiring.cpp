#include "app/ServiceWiring.h"

#include "LumbroCore/ShellWords.h"
#include "app/Services.h"
#include "library/model/AppModel.h"
#include "meetings/formats/MeetingLink.h"
#include "recording/CallApps.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/SystemAudioSource.h"
#include "recording/transcription/SpeechAssets.h"
#include "runners/AgentText.h"
#include "runners/ClaudeRunner.h"
#include "runners/CodexRunner.h"
#include "runners/PreferredAgent.h"

#include <QDir>
#include <QStandardPaths>

namespace lumbro::wiring {

namespace {

Task<PermissionState> microphoneState(AudioServer* server) {
    const Result<> attached = co_await server->attach();
    co_return attached ? PermissionState::allowed() : PermissionState::unknown();
}

Task<bool> tryMicrophone(std::shared_ptr<AudioSource> source) {
    const Result<> started = co_await source->start([](const AudioBuffer&) {});
    source->stop();
    co_return started.has_value();
}

/// Why the agent that the settings prefer can't be found. A stand-in always is there.
Task<QString> whyNoAgent(Services* services) {
    if (dynamic_cast<PreferredAgent*>(&services->agent()) == nullptr) {
        co_return QString();
    }
    const QString command = services->settings().string(u"customCommand"_s).trimmed();
    if (!command.isEmpty()) {
        QString program = shellWords(command).value_or(QStringList()).value(0);
        if (program.startsWith(u"~/")) {
            program = QDir::homePath() + program.sliced(1);
        }
        co_return QStandardPaths::findExecutable(program).isEmpty()
            ? u"there is no program \"%1\"; mend the setting customCommand"_s.arg(program)
            : QString();
    }
    const bool usesCodex = preferredProvider(services->settings()) == AIProvider::codex;
    const auto path = co_await (usesCodex ? services->codex().locate() : services->claude().locate());
    if (path) {
        co_return QString();
    }
    co_return usesCodex ? u"Codex isn't installed"_s : agents::notInstalled().message;
}

/// The call in progress: the one that was noticed, else whatever meeting application uses the microphone now,
/// for the detector may be off. By the event's meeting service where that knows better.
std::optional<CallApp> callApp(Services& services, const std::optional<PrepEvent>& event) {
    const CallDetector& detector = services.callDetector();
    std::optional<MicrophoneUser> app = MicrophoneUser{detector.activeApp(), detector.activeBundleID()};
    if (app->name.isEmpty()) {
        const auto users = CallDetector::users(services.audioServer());
        app = callApps::onCall(users.value_or(QList<MicrophoneUser>()));
    }
    if (!app) {
        return std::nullopt;
    }
    const auto service =
        event && event->link ? meetingLink::app(event->link->toString()) : std::optional<QString>();
    app = callApps::callApp(*app, service.value_or(QString()));
    return CallApp{app->name, app->bundleID};
}

}  // namespace

std::unique_ptr<SetupChecks> setupChecks(Services& services) {
    SetupPorts ports;
    ports.microphone = [&services] { return microphoneState(&services.audioServer()); };
    ports.requestMicrophone = [&services] {
        return tryMicrophone(std::make_shared<MicSource>(services.audioServer(), services.clock(),
                                                         services.settings(), u"setup-mic"_s));
    };
    ports.systemAudio = [&services]() -> std::unique_ptr<AudioSource> {
        return std::make_unique<SystemAudioSource>(services.audioServer(), services.clock());
    };
    ports.isSpeechInstalled = [&services] { return services.speechAssets().isInstalled(); };
    ports.installSpeech = [&services](std::function<void(double)> onProgress) {
        return services.speechAssets().install(std::move(onProgress));
    };
    return std::make_unique<SetupChecks>(services.settings(), services.clock(), services.claude(),
                                         services.codex(), std::move(ports));
}

std::unique_ptr<EngineInbox> engineInbox(Services& services) {
    EngineInbox::Ports ports{
        .library = services.library(), .agent = services.agent(), .clock = services.clock()};
    ports.isRecording = [&services] { return services.model().captures().isRecording(); };
    ports.whyNoAgent = [&services] { return whyNoAgent(&services); };
    ports.voice = [&services] { return services.model().selectedVoice(); };
    ports.tell = [&services](const QString& text, bool isError) {
        Pill& pill = services.model().pill();
        isError ? pill.sayError(text) : pill.say(text);
    };
    return std::make_unique<EngineInbox>(std::move(ports));
}

std::unique_ptr<CallDetector> callDetector(Services& services) {
    CallDetector::Ports ports;
    ports.isRecording = [&services] { return services.model().captures().isRecording(); };
    ports.noteCallApp = [&services](const MicrophoneUser& app) {
        if (auto* session = qobject_cast<CaptureSession*>(services.model().captures().session())) {
            session->noteCallApp(app.name, app.bundleID);
        }
    };
    ports.takeNotes = [&services] { services.model().captures().takeNotes(NoteSurface::beside); };
    ports.offerCapture = [&services](const QString& app) { services.model().offerCapture(app); };
    ports.callEnded = [&services] {
        const RecordingSession* session = services.model().captures().session();
        if (session != nullptr && session->isCall()) {
            services.model().callEnded();
        }
    };
    return std::make_unique<CallDetector>(services.clock(), services.settings(), services.audioServer(),
                                          std::move(ports));
}

void connectCalls(ModelPorts& ports, Services& services) {
    ports.callInProgress = [&services] { return !services.callDetector().activeApp().isEmpty(); };
    ports.callApp = [&services](const std::optional<PrepEvent>& event) { return callApp(services, event); };
}

}  // namespace lumbro::wiring
