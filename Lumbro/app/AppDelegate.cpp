#include "app/AppDelegate.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/NextSignal.h"
#include "actions/ActionRunner.h"
#include "actions/Connectors.h"
#include "app/Services.h"
#include "app/StatusText.h"
#include "ask/AskService.h"
#include "chats/SessionImporter.h"
#include "engines/EngineInbox.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "meetings/MeetingPrep.h"
#include "memory/DailyIdeas.h"
#include "memory/Librarian.h"
#include "memory/PromiseReminder.h"
#include "recording/CallDetector.h"
#include "recording/transcription/SpeechAssets.h"

#include <QPointer>

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto statusInterval = 15s;
constexpr auto sessionsInterval = 60s;

/// Fetches a speech model when none is there, and loads what there is, so that a recording starts at once.
Task<> prepareSpeech(SpeechAssets* speech) {
    if (!speech->isInstalled()) {
        [[maybe_unused]] const Result<> installed = co_await speech->install();
    }
    co_await speech->warm();
}

}  // namespace

AppDelegate::AppDelegate(Services& services) : m_services(services) {
    m_services.followConnectors();
    setUpSteps();
}

AppDelegate::~AppDelegate() = default;

QStringList AppDelegate::applicationDidFinishLaunching() {
    const QStringList performed = m_startup.run();
    AppLog::info(u"startup"_s, u"started: "_s + performed.join(u", "_s));
    return performed;
}

void AppDelegate::every(Periodic periodic) {
    Timer timer;
    timer.start(m_services.clock(), periodic.interval, Clock::Repeat::always, periodic.work);
    m_timers.push_back(std::move(timer));
    m_periodics.push_back(std::move(periodic));
}

QString AppDelegate::statusToolTip() const {
    return m_statusTitle.isEmpty() ? u"Lumbro"_s : m_statusTitle;
}

void AppDelegate::updateStatusTitle() {
    const QString title = statusText(agenda(), m_services.clock().now());
    if (std::exchange(m_statusTitle, title) != title) {
        Q_EMIT statusTitleChanged();
    }
}

void AppDelegate::terminate() {
    if (std::exchange(m_terminating, true)) {
        return;
    }
    const CaptureFlow& captures = m_services.model().captures();
    if (captures.isRecording() || !captures.finishingCaptureID().isEmpty()) {
        Q_EMIT terminationDelayed(u"Finishing the recording…"_s);
        runDetached(finishRecording());
    } else {
        Q_EMIT readyToTerminate();
    }
}

void AppDelegate::setUpSteps() {
    m_startup.set(u"library"_s, [this] { m_services.library().bootstrap(); });
    m_startup.set(u"pill"_s, [this] { m_services.model(); });
    m_startup.set(u"librarianCatchUp"_s, [this] { runDetached(m_services.librarian().catchUp()); });
    m_startup.set(u"callDetector"_s, [this] {
        every({u"calls"_s, CallDetector::interval, [this] { m_services.callDetector().tick(); }});
    });
    m_startup.set(u"meetingPrep"_s, [this] { startMeetings(); });
    m_startup.set(u"dailyIdeas"_s, [this] { m_services.dailyIdeas().start(); });
    m_startup.set(u"promiseReminder"_s, [this] { m_services.promiseReminder().start(); });
    m_startup.set(u"sessionImporter"_s, [this] {
        every({u"sessions"_s, sessionsInterval, [this] { m_services.sessionImporter().check(); }});
        m_services.sessionImporter().check();
    });
    m_startup.set(u"engineInbox"_s, [this] {
        m_services.engineInbox().markInterrupted();
        every({u"engineInbox"_s, EngineInbox::interval, [this] { m_services.engineInbox().scan(); }});
        m_services.engineInbox().scan();
    });
    m_startup.set(u"connectors"_s, [this] { m_services.connectors().refresh(); });
    m_startup.set(u"actionRunner"_s, [this] { startActions(); });
    m_startup.set(u"ask"_s, [this] { m_services.ask().reload(); });
    m_startup.set(u"statusItem"_s, [this] {
        updateStatusTitle();
        every({u"status"_s, statusInterval, [this] { updateStatusTitle(); }});
    });
    m_startup.set(u"speechAssets"_s, [this] { runDetached(prepareSpeech(&m_services.speechAssets())); });
}

void AppDelegate::startActions() {
    ActionRunner& runner = m_services.actionRunner();
    AppModel& model = m_services.model();
    connect(&runner, &ActionRunner::finished, &model,
            [&model](const ActionRun& run) { model.actionFinished(run.id); });
    connect(&runner, &ActionRunner::interrupted, &model,
            [&model](const QString& runID) { model.pill().addToInbox(pill::Action{runID}); });
    runner.follow();
}

void AppDelegate::startMeetings() {
    MeetingPrep& prep = m_services.meetingPrep();
    agenda = [&prep] { return prep.agenda(); };
    connect(&prep, &MeetingPrep::agendaChanged, this, &AppDelegate::updateStatusTitle);
    prep.start();
}

Task<> AppDelegate::finishRecording() {
    const QPointer<AppDelegate> alive(this);
    CaptureFlow& captures = m_services.model().captures();
    co_await captures.stopCapture();
    // A recording that was already being stopped when the quit came.
    while (alive && !captures.finishingCaptureID().isEmpty()) {
        co_await nextSignal(&captures, &CaptureFlow::finishingCaptureIDChanged);
    }
    if (alive) {
        Q_EMIT readyToTerminate();
    }
}

}  // namespace lumbro
