#include "meetings/MeetingPrep.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/SpaceReserve.h"
#include "engines/formats/EngineInput.h"
#include "library/ContextLibrary.h"
#include "meetings/Agenda.h"
#include "meetings/PrepInput.h"
#include "memory/MemoryStore.h"
#include "runners/AgentClaim.h"

#include <QCryptographicHash>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 30s;
constexpr qsizetype markSize = 16;
const QString area = u"prep"_s;
const QString engineID = u"prep"_s;

// Seconds until the start, each window from its first moment to after its last; the first holds the others.
constexpr double briefFrom = 1800;
constexpr double briefUntil = -300;
/// A tick every 30 seconds must not pass the five minutes.
constexpr double showFrom = 315;
constexpr double showUntil = -300;
constexpr double promptFrom = 75;
constexpr double promptUntil = -120;

QString rawValue(CalendarAccess access) {
    switch (access) {
        case CalendarAccess::full:
            return u"full"_s;
        case CalendarAccess::denied:
            return u"denied"_s;
        case CalendarAccess::notDetermined:
            break;
    }
    return u"not determined"_s;
}

/// Where a process that has the brief written says so to others.
QString claimPath(const QString& root, const PrepEvent& event) {
    const QByteArray mark = QCryptographicHash::hash(event.key().toUtf8(), QCryptographicHash::Sha1).toHex();
    return root + u"/.prep-%1.lock"_s.arg(QString::fromLatin1(mark.first(markSize)));
}

Task<> dropResult(Task<Result<CaptureRecord>> brief) {
    [[maybe_unused]] const auto logged = co_await std::move(brief);
}

}  // namespace

/// The meeting's brief is being written, until the end of the scope.
class MeetingPrep::Busy {
  public:
    Busy(MeetingPrep& prep, QString key) : m_prep(&prep), m_key(std::move(key)) {
        prep.m_preparing.insert(m_key);
        Q_EMIT prep.preparingChanged();
    }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;
    ~Busy() {
        if (m_prep && m_prep->m_preparing.remove(m_key)) {
            Q_EMIT m_prep->preparingChanged();
        }
    }

  private:
    QPointer<MeetingPrep> m_prep;
    QString m_key;
};

MeetingPrep::MeetingPrep(Ports ports) : m_ports(std::move(ports)) {}

MeetingPrep::~MeetingPrep() = default;

void MeetingPrep::start() {
    connect(&m_ports.calendar, &CalendarStore::changed, this, [this] { runDetached(refresh()); });
    m_timer.start(m_ports.clock, interval, Clock::Repeat::always, [this] { runDetached(tick()); });
    runDetached(tick());
}

Task<CalendarAccess> MeetingPrep::requestAccess() {
    const CalendarAccess access = co_await m_ports.calendar.requestAccess();
    AppLog::info(area, u"calendar access: "_s + rawValue(access));
    co_return access;
}

Task<> MeetingPrep::refresh() {
    const QPointer<MeetingPrep> alive(this);
    const int run = ++m_refreshes;
    CalendarAccess access = co_await m_ports.calendar.open();
    QList<CalendarEvent> events;
    if (access == CalendarAccess::full && alive && run == m_refreshes) {
        const auto span = agenda::span(m_ports.clock.now());
        events = co_await m_ports.calendar.events(span.from, span.to);
        access = alive ? m_ports.calendar.access() : access;
    }
    if (!alive || run != m_refreshes) {
        co_return;
    }
    assign(access, agenda::of(events));
    if (access != CalendarAccess::full) {
        note(u"no calendar access (%1)"_s.arg(rawValue(access)));
        co_return;
    }
    note(u"agenda: %1 events through tomorrow, %2 with people"_s.arg(m_agenda.size()).arg(m_upcoming.size()));
}

QList<PrepEvent> MeetingPrep::nextEvents(int limit) const {
    QList<PrepEvent> events = m_upcoming;
    const QDateTime now = m_ports.clock.now();
    events.removeIf([&now](const PrepEvent& event) { return event.start <= now; });
    events.resize(std::min<qsizetype>(events.size(), std::max(limit, 0)));
    return events;
}

std::optional<PrepEvent> MeetingPrep::eventNow() const {
    return agenda::eventNow(m_agenda, m_ports.clock.now());
}

std::optional<QUrl> MeetingPrep::link(const QString& eventID) const {
    std::optional<QUrl> link;
    for (const PrepEvent& event : m_agenda) {
        if (event.id == eventID) {
            link = event.link;
            if (event.end >= m_ports.clock.now()) {
                break;
            }
        }
    }
    return link;
}

std::optional<CaptureRecord> MeetingPrep::brief(const PrepEvent& event) const {
    return agenda::brief(m_ports.library.captures(), event);
}

QString MeetingPrep::context(const PrepEvent& event) const {
    return PrepInput(m_ports.library, m_ports.memory).text(event);
}

QString MeetingPrep::text(const std::optional<CaptureRecord>& brief) const {
    return brief ? m_ports.library.handoffs(*brief).value(engineID) : QString();
}

Task<Result<CaptureRecord>> MeetingPrep::prepare(PrepEvent event, Cancel cancel,
                                                 std::function<void()> onWait) {
    const auto engine = m_ports.library.engine(engineID);
    if (!engine) {
        const QString sentence = u"no prep engine in ~/Quillet/engines"_s;
        AppLog::error(area, sentence);
        co_return fail(FailureKind::notFound,
                       u"The engine \"prep\" is missing in %1."_s.arg(m_ports.library.enginesFolder()));
    }
    const QPointer<MeetingPrep> alive(this);
    const bool isKnown = brief(event).has_value();
    const QString known = text(brief(event));
    const auto claim = co_await claimInTurn(&m_ports.clock, claimPath(m_ports.library.root(), event),
                                            std::move(onWait), cancel);
    if (!alive || (cancel && cancel->isCancelled)) {
        co_return fail(FailureKind::cancelled, u"Cancelled"_s);
    }
    if (!claim) {
        // Should the other one fail, the next look tries.
        m_attempted.remove(event.key());
        co_return fail(
            u"Another Lumbro has the brief for \"%1\" written; it will be there in a moment."_s.arg(
                event.title));
    }
    // The one who had the claim until now may have written it.
    m_ports.library.reloadCaptures();
    if (const auto theirs = brief(event); theirs && (!isKnown || text(theirs) != known)) {
        co_return *theirs;
    }
    co_return co_await write(std::move(event), *engine, std::move(cancel));
}

Task<Result<CaptureRecord>> MeetingPrep::write(PrepEvent event, Engine engine, Cancel cancel) {
    const QPointer<MeetingPrep> alive(this);
    const Busy busy(*this, event.key());
    m_ports.memory.reload(false);
    AgentRequest asked = request(event, EngineInput::systemPrompt(engine, std::nullopt), engine.model);
    // A disk that fills up meanwhile shall not cost a brief that was paid for.
    SpaceReserve room(m_ports.library.capturesFolder());
    if (!room.isHeld()) {
        const QString problem = room.problem(u"a brief"_s);
        AppLog::error(area, u"prep failed for '%1': %2"_s.arg(event.title, problem));
        co_return fail(u"The agent wasn't asked: %1."_s.arg(problem));
    }
    if (!cancel) {
        cancel = std::make_shared<CancellationHandle>();
    }
    const Result<QString> reply = co_await m_ports.agent.run(std::move(asked), std::move(cancel));
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    room.release();
    const Result<CaptureRecord> filed = reply ? file(event, *reply) : std::unexpected(reply.error());
    if (!filed) {
        AppLog::error(area, u"prep failed for '%1': %2"_s.arg(event.title, filed.error().message));
    } else {
        AppLog::info(area, u"brief ready for '%1' in %2"_s.arg(event.title, filed->id()));
    }
    co_return filed;
}

Task<> MeetingPrep::tick() {
    const QPointer<MeetingPrep> alive(this);
    co_await refresh();
    if (!alive || !m_ports.settings.boolean(u"meetingPrepEnabled"_s)) {
        co_return;
    }
    // What an offer sets going may refresh the list.
    const QList<PrepEvent> events = m_upcoming;
    const QDateTime now = m_ports.clock.now();
    for (const PrepEvent& event : events) {
        consider(event, now);
    }
}

void MeetingPrep::consider(const PrepEvent& event, const QDateTime& now) {
    const double until = double(now.msecsTo(event.start)) / 1000;
    const auto isWithin = [until](double from, double last) { return until <= from && until > last; };
    if (!isWithin(briefFrom, briefUntil)) {
        return;
    }
    const QString key = event.key();
    if (wantsBrief(event)) {
        m_attempted.insert(key);
        runDetached(dropResult(prepare(event)));
    }
    const auto record = brief(event);
    const auto present = [&] {
        if (m_ports.present) {
            m_ports.present({event, record ? std::optional(record->id()) : std::nullopt});
        }
    };
    if (isWithin(showFrom, showUntil) && !m_shown.contains(key) && record) {
        m_shown.insert(key);
        present();
    }
    if (isWithin(promptFrom, promptUntil) && !m_prompted.contains(key)) {
        m_prompted.insert(key);
        if (!m_ports.isPresented || !m_ports.isPresented(event)) {
            present();
        }
    }
}

bool MeetingPrep::wantsBrief(const PrepEvent& event) {
    if (m_attempted.contains(event.key()) || m_preparing.contains(event.key()) || brief(event)) {
        return false;
    }
    // A command beside us may have had it written.
    m_ports.library.reloadCaptures();
    return !brief(event);
}

void MeetingPrep::assign(CalendarAccess access, const QList<PrepEvent>& agenda) {
    const bool sameAccess = std::exchange(m_access, access) == access;
    m_upcoming = agenda::upcoming(agenda, m_ports.clock.now());
    const bool sameAgenda = std::exchange(m_agenda, agenda) == agenda;
    if (!sameAccess) {
        Q_EMIT accessChanged();
    }
    if (!sameAgenda) {
        Q_EMIT agendaChanged();
    }
}

/// Logs what a reading found, unless the last one found the same: the log is for people.
void MeetingPrep::note(const QString& line) {
    if (std::exchange(m_lastNote, line) != line) {
        AppLog::info(area, line);
    }
}

AgentRequest MeetingPrep::request(const PrepEvent& event, const QString& prompt, const QString& model) const {
    AgentRequest request;
    request.systemPrompt = prompt;
    request.instruction = u"Prepare me for the meeting in stdin."_s;
    request.context = context(event);
    request.model = model;
    request.workingDirectory = m_ports.library.root();
    return request;
}

Result<CaptureRecord> MeetingPrep::file(const PrepEvent& event, const QString& text) {
    ContextLibrary& library = m_ports.library;
    library.reloadCaptures();
    const auto earlier = brief(event);
    CaptureRecord record =
        earlier ? *earlier : library.createCapture(CaptureKind::prep, event.title, {}, event.start);
    if (const auto written = library.writeHandoff(text, engineID, record); !written) {
        if (!earlier) {
            [[maybe_unused]] const Result<> logged = library.deleteCapture(record);
        }
        return std::unexpected(written.error());
    }
    record.meta.endedAt = std::max(event.end, record.meta.startedAt);
    record.meta.attendees = event.attendeeNames();
    record.meta.attendeeEmails = event.attendeeEmails();
    record.meta.eventID = event.id;
    if (const auto saved = library.save(record); !saved) {
        return std::unexpected(saved.error());
    }
    library.reloadCaptures();
    return record;
}

}  // namespace lumbro
