#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "engines/formats/Engine.h"
#include "library/formats/CaptureMeta.h"
#include "meetings/formats/PrepEvent.h"
#include "platform/CalendarStore.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;

/// Watches the user's calendar: has a brief written before each meeting with other people, offers it five
/// minutes ahead, and offers to join when the meeting starts. Main thread.
class MeetingPrep final : public QObject {
    Q_OBJECT

  public:
    using Cancel = std::shared_ptr<CancellationHandle>;

    /// All references must outlive it.
    struct Ports {
        CalendarStore& calendar;
        Clock& clock;
        Settings& settings;
        ContextLibrary& library;
        MemoryStore& memory;
        AgentProvider& agent;
        /// Puts a meeting in front of the user. May be empty.
        std::function<void(MeetingOffer)> present;
        /// Whether an offer for this event is in front of the user now. May be empty.
        std::function<bool(const PrepEvent&)> isPresented;
    };

    explicit MeetingPrep(Ports ports);
    ~MeetingPrep() override;

    /// Looks at the calendar now, every 30 seconds, and whenever it has changed.
    void start();
    /// Asks the user for the calendar where that is needed.
    Task<CalendarAccess> requestAccess();
    /// Reads the calendar. Several at once are fine: the last one begun counts.
    Task<> refresh();

    /// As of the last reading.
    CalendarAccess access() const { return m_access; }
    /// All meetings through tomorrow, by their start.
    const QList<PrepEvent>& agenda() const { return m_agenda; }
    /// Those with other people within the next 12 hours.
    const QList<PrepEvent>& upcoming() const { return m_upcoming; }
    /// The keys of the meetings whose briefs are being written.
    const QSet<QString>& preparing() const { return m_preparing; }

    /// At most `limit` of `upcoming` that have not begun.
    QList<PrepEvent> nextEvents(int limit) const;
    /// The meeting that is on or begins within 10 minutes.
    std::optional<PrepEvent> eventNow() const;
    /// Where the event with this id is joined: of a series, the occurrence that is on or comes next.
    std::optional<QUrl> link(const QString& eventID) const;
    /// The capture with the brief for the event.
    std::optional<CaptureRecord> brief(const PrepEvent& event) const;
    /// What an agent is told to write the brief.
    QString context(const PrepEvent& event) const;

    /// Has the brief written and files it as a capture; in place of the text of an earlier brief for the same
    /// meeting. Gives the brief that another process has filed since the captures were read. While one has it
    /// written it fails, or with `onWait` calls that and waits for it. A failure of the agent is logged and
    /// given back. The handle may be none.
    Task<Result<CaptureRecord>> prepare(PrepEvent event, Cancel cancel = nullptr,
                                        std::function<void()> onWait = {});

  Q_SIGNALS:
    void accessChanged();
    void agendaChanged();
    void preparingChanged();

  private:
    class Busy;

    Task<> tick();
    QString text(const std::optional<CaptureRecord>& brief) const;
    Task<Result<CaptureRecord>> write(PrepEvent event, Engine engine, Cancel cancel);
    void consider(const PrepEvent& event, const QDateTime& now);
    bool wantsBrief(const PrepEvent& event);
    void assign(CalendarAccess access, const QList<PrepEvent>& agenda);
    void note(const QString& line);
    AgentRequest request(const PrepEvent& event, const QString& prompt, const QString& model) const;
    Result<CaptureRecord> file(const PrepEvent& event, const QString& text);

    Ports m_ports;
    CalendarAccess m_access = CalendarAccess::notDetermined;
    QList<PrepEvent> m_agenda;
    QList<PrepEvent> m_upcoming;
    QSet<QString> m_preparing;
    /// Keys, in memory only: briefs tried, meetings offered five minutes ahead, and at their start.
    QSet<QString> m_attempted;
    QSet<QString> m_shown;
    QSet<QString> m_prompted;
    int m_refreshes = 0;
    QString m_lastNote;
    Timer m_timer;
};

}  // namespace lumbro
