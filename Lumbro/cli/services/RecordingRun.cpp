#include "cli/services/RecordingRun.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/ChildProcess.h"
#include "LumbroCore/NextSignal.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/TempFolder.h"
#include "cli/CaptureLookup.h"
#include "cli/services/DeviceWatch.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "meetings/MeetingPrep.h"
#include "memory/Librarian.h"
#include "recording/CaptureSession.h"
#include "recording/CaptureTranscribers.h"
#include "recording/DiskSpace.h"
#include "recording/FeedGate.h"
#include "recording/audio/FileAudioSource.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/SystemAudioSource.h"
#include "recording/transcription/SpeechAssets.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

#include <unistd.h>

namespace lumbro::cli {

namespace {

// The status that shells give to a program that Ctrl-C ended.
constexpr int endedByInterrupt = 130;

Services::Replacements replacementsFor(const RecordingPlan& plan) {
    Services::Replacements replacements;
    replacements.libraryRoot = plan.libraryRoot;
    replacements.speechLocale = plan.speechLocale;
    if (plan.at.isValid()) {
        replacements.recordingClock = std::make_unique<SystemClock>(plan.at);
    }
    return replacements;
}

Result<QString> deviceID(const QList<AudioDevice>& devices, const QString& wanted) {
    QStringList named;
    for (const AudioDevice& device : devices) {
        if (device.id == wanted) {
            return device.id;
        }
        if (device.name == wanted) {
            named += device.id;
        }
    }
    if (named.isEmpty()) {
        return fail(FailureKind::notFound,
                    u"There is no device \"%1\"; `lumbro devices` lists them all."_s.arg(wanted));
    }
    if (named.size() > 1) {
        return fail(FailureKind::notFound, u"%1 devices are called \"%2\"; give the id of one: %3."_s.arg(
                                               QString::number(named.size()), wanted, named.join(u", "_s)));
    }
    return named.first();
}

}  // namespace

QString commandOn(const QString& root) {
    const QString called = QCoreApplication::arguments().value(0);
    const QString program = called.contains(u'/') ? called : u"lumbro"_s;
    const QString customary = QDir::homePath() + u"/Quillet"_s;
    return root == customary ? program : u"QUILLET_ROOT=%1 %2"_s.arg(root, program);
}

RecordingRun::RecordingRun(Output& output, RecordingPlan plan)
    : m_output(output),
      m_plan(std::move(plan)),
      m_scratch(tempFolder() + u"/lumbro-XXXXXX"_s),
      m_services(replacementsFor(m_plan)),
      m_steps(output, m_services.clock()) {
    connect(&m_interrupts, &QuitSignals::quitRequested, this, &RecordingRun::onInterrupt);
}

RecordingRun::~RecordingRun() = default;

Task<Result<RecordingRun::Outcome>> RecordingRun::run() {
    if (auto usable = checkLibrary(m_services.library().root(), LibraryUse::write); !usable) {
        co_return std::unexpected(usable.error());
    }
    m_services.library().open();
    m_services.library().repair();
    if (const auto found = co_await findDevices(); !found) {
        co_return std::unexpected(found.error());
    }
    m_services.replacements().prepareSession = [this](CaptureSession::Ports& ports) {
        prepareSession(ports);
    };
    sayAboutSpeech();
    if (!m_plan.fromFiles()) {
        // For the meeting that is on now.
        co_await m_services.meetingPrep().refresh();
    }
    CaptureFlow& captures = m_services.model().captures();
    connect(&captures, &CaptureFlow::sessionChanged, this, &RecordingRun::watchSession);
    connect(&captures, &CaptureFlow::finishStep, this, &RecordingRun::beginStep);
    connect(&captures, &CaptureFlow::memoryFailed, this,
            [this](const QString&, const Failure& failure) { m_memoryFailure = failure; });
    const auto started =
        co_await captures.startCapture(m_plan.kind, m_plan.intent, m_plan.event, NoteSurface::beside);
    if (!started) {
        m_live.reset();
        m_files.clear();
        co_return std::unexpected(started.error());
    }
    if (!m_isStopDue) {
        if (!m_gate) {
            watchDevices();
            m_output.say(u"Recording. Ctrl-C stops and saves."_s);
        }
        co_await nextSignal(this, &RecordingRun::stopDue);
    }
    co_return co_await finish();
}

Task<Result<>> RecordingRun::findDevices() {
    const bool choosesMicrophone = m_plan.microphone.kind == SideSource::Kind::device;
    const bool choosesOutput = m_plan.system.kind == SideSource::Kind::device;
    // The server's own sentence says what to do, unlike that of a microphone which could not be started.
    if (m_plan.microphone.kind == SideSource::Kind::file && !choosesOutput) {
        co_return Result<>();
    }
    AudioServer& server = m_services.audioServer();
    if (const auto attached = co_await server.attach(); !attached) {
        co_return std::unexpected(attached.error());
    }
    if (choosesMicrophone) {
        const auto id = deviceID(server.microphones(), m_plan.microphone.name);
        if (!id) {
            co_return std::unexpected(id.error());
        }
        if (!m_scratch.isValid()) {
            co_return fail(u"Couldn't make a temporary folder: %1."_s.arg(m_scratch.errorString()));
        }
        // The source reads its device from settings; these are for this recording only.
        m_chosenMicrophone = std::make_unique<Settings>(m_scratch.filePath(u"microphone.ini"_s));
        m_chosenMicrophone->set(u"microphoneDeviceUID"_s, *id);
    }
    if (choosesOutput) {
        const auto id = deviceID(server.outputs(), m_plan.system.name);
        if (!id) {
            co_return std::unexpected(id.error());
        }
        m_chosenOutput = *id;
    }
    co_return Result<>();
}

void RecordingRun::prepareSession(CaptureSession::Ports& ports) {
    // Here somebody can wait for the words.
    ports.finishWait = FinishWait::allFinals;
    if (!m_services.speechAssets().isInstalled()) {
        // That has been said, with what to do.
        ports.withoutModel.clear();
    }
    if (m_chosenMicrophone) {
        ports.microphone = std::make_unique<MicSource>(m_services.audioServer(), m_services.clock(),
                                                       *m_chosenMicrophone, u"capture-mic"_s);
    }
    if (!m_chosenOutput.isEmpty()) {
        ports.system =
            std::make_unique<SystemAudioSource>(m_services.audioServer(), m_services.clock(), m_chosenOutput);
    } else if (m_plan.system.kind == SideSource::Kind::none) {
        ports.system = nullptr;
    }
    useFiles(ports);
}

void RecordingRun::useFiles(CaptureSession::Ports& ports) {
    for (const auto& [side, name] : {std::pair(&m_plan.microphone, u"me"_s), {&m_plan.system, u"them"_s}}) {
        if (side->kind == SideSource::Kind::file) {
            AppLog::info(u"capture"_s,
                         u"%1 from the file %2%3"_s.arg(name, QFileInfo(side->name).fileName(),
                                                        m_plan.fast ? u", as fast as it goes"_s : u""_s));
        }
    }
    if (m_plan.fromFiles()) {
        m_gate = std::make_shared<FeedGate>();
        ports.gate = m_gate;
        ports.timing = CaptureTiming::audio;
    }
    if (m_plan.microphone.kind == SideSource::Kind::file) {
        ports.microphone = fileSource(m_plan.microphone, Speaker::me);
    }
    if (m_plan.system.kind == SideSource::Kind::file) {
        ports.system = fileSource(m_plan.system, Speaker::them);
    }
}

std::unique_ptr<AudioSource> RecordingRun::fileSource(const SideSource& side, Speaker speaker) {
    FilePlayback playback;
    if (m_gate) {
        playback = m_gate->playback(speaker, !m_plan.fast, side.channel);
    } else {
        playback.channel = side.channel;
    }
    auto source = std::make_unique<FileAudioSource>(m_services.clock(), side.name, std::move(playback));
    m_files.append(source.get());
    return source;
}

PlayPosition RecordingRun::played() const {
    PlayPosition longest;
    for (const FileAudioSource* file : m_files) {
        if (longest.of <= file->duration()) {
            longest = {file->position(), file->duration()};
        }
    }
    return longest;
}

void RecordingRun::sayAboutSpeech() {
    const SpeechAssets& speech = m_services.speechAssets();
    if (!speech.isInstalled()) {
        m_output.say(
            u"No speech model for %1 is installed, so there will be audio but no words; "
            u"`lumbro speech list` names the models, `lumbro speech install` fetches one."_s.arg(
                speech.resolvedLocale().value_or(u"your language"_s)));
    } else if (const auto broken = m_services.speechAssets().models().brokenChoice(speech.usedLocale())) {
        m_output.say(u"The speech model %1 can't be read, so another one stands in; install it again."_s.arg(
            broken->id));
    }
}

void RecordingRun::watchSession() {
    auto* session = qobject_cast<CaptureSession*>(m_services.model().captures().session());
    if (session == nullptr || m_live) {
        return;
    }
    m_session = session;
    m_folder = session->record().folder;
    connect(session, &CaptureSession::ended, this, [this] {
        m_isStopDue = true;
        Q_EMIT stopDue();
    });
    std::function<PlayPosition()> position;
    if (m_gate) {
        position = [this] { return played(); };
    }
    if (!m_plan.title.isEmpty()) {
        session->setTitle(m_plan.title);
    }
    m_live = std::make_unique<LiveLine>(m_output, m_services.clock(), *session, position);
}

void RecordingRun::watchDevices() {
    DeviceWatch::Chosen chosen;
    if (m_plan.microphone.kind != SideSource::Kind::file) {
        chosen.microphone = (m_chosenMicrophone ? *m_chosenMicrophone : m_services.settings())
                                .string(u"microphoneDeviceUID"_s);
        const auto& microphones = m_services.audioServer().microphones();
        if (!chosen.microphone->isEmpty() &&
            std::ranges::find(microphones, *chosen.microphone, &AudioDevice::id) == microphones.end()) {
            m_output.say(m_output.styledError(u"note:"_s, Look::bold) +
                         u" the microphone of the setting microphoneDeviceUID, \"%1\", isn't there, so "
                         u"the default one records; `lumbro devices` lists them all."_s.arg(
                             Output::clean(*chosen.microphone)));
        }
    }
    if (m_plan.system.kind == SideSource::Kind::device || m_plan.system.kind == SideSource::Kind::standard) {
        chosen.output = m_chosenOutput;
    }
    m_devices = std::make_unique<DeviceWatch>(m_output, m_services.clock(), m_services.audioServer(), chosen);
}

void RecordingRun::beginStep(const QString& text) {
    m_steps.begin(text, [this] { return m_waitsForWords ? waitingText() : QString(); });
}

QString RecordingRun::waitingText() const {
    const CaptureTranscribers* const transcribers = m_session ? m_session->transcribers() : nullptr;
    const double seconds = transcribers != nullptr ? transcribers->unheard() : 0;
    return seconds < 1 ? QString() : u"%1 of sound to go; Ctrl-C ends the wait"_s.arg(clockText(seconds));
}

void RecordingRun::onInterrupt() {
    if (!m_isFinishing) {
        if (m_gate && !m_isStopDue) {
            m_stoppedAt = played();
        }
        m_isStopDue = true;
        Q_EMIT stopDue();
    } else if (m_session && std::exchange(m_waitsForWords, false)) {
        m_waitWasEnded = true;
        m_output.say(u"Not waiting for the last words."_s);
        if (CaptureTranscribers* const transcribers = m_session->transcribers()) {
            transcribers->stopWaiting();
        }
    } else if (++m_interruptsWhileFinishing == 1) {
        m_output.say(u"Still finishing; press Ctrl-C once more to end at once."_s);
    } else {
        endAtOnce();
    }
}

void RecordingRun::endAtOnce() {
    AppModel& model = m_services.model();
    const QStringList keys = model.runs().runs().keys();
    for (const QString& key : keys) {
        model.runs().cancelRun(key.section(u'/', 0, 0), key.section(u'/', 1));
    }
    model.naming().cancelAll();
    m_services.librarian().cancelAll();
    m_steps.end();
    m_output.say(u"Ended. The recording is in %1."_s.arg(m_folder));
    AppLog::flush();
    // Nobody is left to see to an agent that doesn't obey the request to end.
    ChildProcess::killAll();
    _exit(endedByInterrupt);
}

}  // namespace lumbro::cli
