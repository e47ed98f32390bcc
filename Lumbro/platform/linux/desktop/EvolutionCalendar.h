#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Mailbox.h"
#include "LumbroCore/Settings.h"
#include "platform/CalendarService.h"
#include "platform/Organizer.h"

#include <functional>
#include <memory>

namespace lumbro {

/// The calendars and lists of tasks that Evolution, GNOME Calendar and their like share. Main thread; a
/// service that doesn't answer in time is given up.
class EvolutionCalendar final : public Organizer {
    Q_OBJECT

  public:
    /// How long an answer is waited for.
    static constexpr Clock::Duration patience = std::chrono::seconds(30);

    using Load = std::function<Result<std::unique_ptr<CalendarService>>()>;

    /// `load` starts the service, and is called when it is first needed.
    EvolutionCalendar(Settings& settings, Clock& clock, Load load);
    ~EvolutionCalendar() override;

    QString place() const override { return u"Evolution"_s; }
    QList<CalendarList> calendars() const override;
    Task<CalendarAccess> open() override;
    CalendarAccess access() const override { return m_access; }
    QString whyNoAccess() const override { return m_why; }
    /// There is nothing to ask the user.
    Task<CalendarAccess> requestAccess() override { co_return access(); }
    Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) override;
    /// The one of the setting `calendarDefault`, else Evolution's, else the first one.
    std::optional<CalendarList> defaultCalendar() const override;
    QString whyNoCalendar() const override;
    Task<Result<AddedCalendarItem>> add(NewCalendarEvent event) override;

    Task<CalendarAccess> openTasks() override { return open(); }
    CalendarAccess taskAccess() const override { return m_access; }
    QString whyNoTaskAccess() const override { return m_why; }
    Task<CalendarAccess> requestTaskAccess() override { co_return access(); }
    QList<CalendarList> taskLists() const override;
    std::optional<CalendarList> defaultTaskList() const override;
    Task<Result<CalendarList>> makeTaskList(QString title) override;
    Task<Result<>> renameTaskList(QString id, QString title) override;
    Task<QList<CalendarTask>> tasks(QString list) override;
    Task<Result<QList<AddedCalendarItem>>> addTasks(QList<CalendarTask> tasks, QString list) override;

  protected:
    /// What changes is told of only where somebody listens.
    void connectNotify(const QMetaMethod& signal) override;

  private:
    template <typename Work>
    Task<std::invoke_result_t<Work&, CalendarService&>> ask(Work work);
    bool load();
    Result<CalendarList> eventCalendar() const;
    void watch();
    void take(ServiceLists lists);
    void lose(const Failure& failure);
    Failure told(const Failure& failure) const;

    Settings& m_settings;
    Clock& m_clock;
    Load m_load;
    CalendarAccess m_access = CalendarAccess::notDetermined;
    QString m_why;
    ServiceLists m_lists;
    QStringList m_unread;
    bool m_isWatching = false;
    /// Outlives the service, which posts to it.
    Mailbox m_mailbox;
    std::unique_ptr<CalendarService> m_service;
};

}  // namespace lumbro
