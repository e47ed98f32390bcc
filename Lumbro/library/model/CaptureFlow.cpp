#include "library/model/CaptureFlow.h"

#include "LumbroCore/AppLog.h"
#include "library/ContextLibrary.h"
#include "library/model/CaptureNaming.h"
#include "library/model/LibraryState.h"
#include "library/model/Pill.h"
#include "recording/DiskSpace.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto consentHintShown = 5s;

bool isMeeting(CaptureKind kind, CaptureIntent intent) {
    return kind == CaptureKind::meeting && intent == CaptureIntent::meeting;
}

/// A recording whose first file can't be written would go on for nothing, in a folder that nobody lists.
Result<> checkFolder(ContextLibrary& library, const CaptureRecord& record) {
    if (!QFileInfo(record.folder).isDir()) {
        return diskSpace::isUsedUp(library.root())
                   ? fail(u"There is no room to record: the disk is full."_s)
                   : fail(u"Couldn't make a folder for the recording in %1."_s.arg(library.root()));
    }
    if (QFileInfo::exists(record.path(u"meta.json"_s))) {
        return {};
    }
    const auto saved = library.save(record);
    if (saved) {
        return {};
    }
    QDir(record.folder).removeRecursively();
    library.reloadCaptures();
    return fail(u"There is no room to record: %1."_s.arg(saved.error().message));
}

void link(CaptureMeta& meta, const PrepEvent& event) {
    meta.title = event.title;
    meta.attendees = event.attendeeNames();
    meta.attendeeEmails = event.attendeeEmails();
    meta.eventID = event.id;
}

}  // namespace

CaptureFlow::CaptureFlow(Services services) : m_services(services) {}

CaptureFlow::~CaptureFlow() = default;

Task<Result<CaptureRecord>> CaptureFlow::startCapture(CaptureKind kind, CaptureIntent intent,
                                                      std::optional<PrepEvent> event, NoteSurface surface) {
    if (m_services.ports.dictationBusy()) {
        co_return refuse(u"Finish dictation before starting a recording."_s);
    }
    if (m_session) {
        co_return fail(u"A recording is already running."_s);
    }
    if (!m_services.ports.makeSession) {
        co_return refuse(u"Recording isn't available here."_s);
    }
    AppLog::info(u"capture"_s,
                 intent == CaptureIntent::note ? u"start pressed (note)"_s : u"start pressed (meeting)"_s);
    const CaptureRecord record = makeRecord(kind, intent, std::move(event));
    if (const auto usable = checkFolder(m_services.library, record); !usable) {
        co_return refuse(usable.error().message);
    }
    const Session session = m_services.ports.makeSession(record, kind == CaptureKind::meeting);
    session->setIsCall(isMeeting(kind, intent));
    m_session = session;
    m_noteSurface = surface;
    Q_EMIT sessionChanged();
    showStarted(record);

    const QPointer<CaptureFlow> alive(this);
    const Result<> started = co_await session->start();
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    if (!started) {
        dropFailedStart(record, session, started.error());
        co_return std::unexpected(started.error());
    }
    if (m_session == session && kind == CaptureKind::meeting && surface == NoteSurface::beside) {
        m_services.ports.showNotes(record.id(), NotesTab::mine, false);
    }
    co_return session->record();
}

void CaptureFlow::startCapture(const CaptureRecord& prep) {
    if (m_session) {
        return;
    }
    PrepEvent event;
    event.id = prep.meta.eventID.value_or(prep.id());
    event.title = QString(prep.meta.title).remove(u"Prep · "_s);
    event.start = prep.meta.startedAt;
    event.end = prep.meta.endedAt.value_or(prep.meta.startedAt);
    for (const QString& name : prep.meta.attendees.value_or(QStringList())) {
        event.attendees.append({name, {}});
    }
    event.link = m_services.ports.eventLink(event.id);
    start(CaptureKind::meeting, CaptureIntent::meeting, std::move(event), NoteSurface::beside);
}

void CaptureFlow::retitle(const QString& captureID, const QString& title) {
    if (m_session && m_session->record().id() == captureID) {
        m_session->setTitle(title);
    }
}

void CaptureFlow::takeNotes(NoteSurface surface) {
    if (!m_session) {
        m_services.pill.rest();
        start(CaptureKind::meeting, CaptureIntent::meeting, std::nullopt, surface);
    }
}

void CaptureFlow::newNote() {
    if (!m_session) {
        m_services.pill.rest();
        start(CaptureKind::meeting, CaptureIntent::note, std::nullopt, NoteSurface::library);
    }
}

void CaptureFlow::toggleNote() {
    if (m_session) {
        stop();
    } else {
        start(CaptureKind::thought, CaptureIntent::meeting, std::nullopt, NoteSurface::beside);
    }
}

void CaptureFlow::toggleCapture() {
    if (m_session) {
        stop();
    } else if (m_services.ports.callInProgress()) {
        takeNotes(NoteSurface::beside);
    } else {
        newNote();
    }
}

CaptureRecord CaptureFlow::makeRecord(CaptureKind kind, CaptureIntent intent,
                                      std::optional<PrepEvent> event) {
    ContextLibrary& library = m_services.library;
    const bool meeting = isMeeting(kind, intent);
    CaptureRecord record =
        library.createCapture(kind, meeting ? CaptureNaming::meeting() : CaptureNaming::newNote(), {u"mic"_s},
                              m_services.clock.now());
    if (!meeting) {
        return record;
    }
    if (!event) {
        event = m_services.ports.eventNow();
    }
    if (event) {
        link(record.meta, *event);
        [[maybe_unused]] const Result<> logged = library.save(record);
        AppLog::info(u"prep"_s, u"capture linked to event '%1'"_s.arg(event->title));
    }
    if (const auto app = m_services.ports.callApp(event)) {
        record.meta.callApp = app->name;
        record.meta.callAppBundleID = app->bundleID;
        [[maybe_unused]] const Result<> logged = library.save(record);
    }
    return record;
}

void CaptureFlow::showStarted(const CaptureRecord& record) {
    if (m_noteSurface == NoteSurface::library) {
        m_services.state.navigate(SidebarItem::capture(record.id()));
    }
    m_services.pill.setMode(pill::Recording{});
    setShowConsentHint(record.meta.kind == CaptureKind::meeting);
    m_consentTimer.start(m_services.clock, consentHintShown, Clock::Repeat::once,
                         [this] { setShowConsentHint(false); });
}

void CaptureFlow::dropFailedStart(const CaptureRecord& record, const Session& session,
                                  const Failure& failure) {
    // A stop that came while the microphone was starting has taken the session over and clears up itself.
    if (m_session != session) {
        return;
    }
    m_session.reset();
    setShowConsentHint(false);
    Q_EMIT sessionChanged();
    discard(record);
    m_services.pill.sayError(failure.message);
}

std::unexpected<Failure> CaptureFlow::refuse(const QString& message) {
    m_services.pill.sayError(message);
    return fail(message);
}

void CaptureFlow::start(CaptureKind kind, CaptureIntent intent, std::optional<PrepEvent> event,
                        NoteSurface surface) {
    runDetached(startCapture(kind, intent, std::move(event), surface));
}

void CaptureFlow::setShowConsentHint(bool show) {
    if (std::exchange(m_showConsentHint, show) != show) {
        Q_EMIT showConsentHintChanged();
    }
}

}  // namespace lumbro
