#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/Organizer.h"
#include "platform/linux/desktop/VdirFiles.h"

#include <QHash>

#include <memory>

class QSocketNotifier;

namespace lumbro {

/// The user's calendars and tasks as plain files, in the folder of the setting `calendarFolder`. Main thread;
/// files are read on a thread of their own.
class VdirCalendar final : public Organizer {
    Q_OBJECT

  public:
    VdirCalendar(Settings& settings, Clock& clock);
    ~VdirCalendar() override;

    /// The folder in use, whether it is there or not: the setting, else where khal and vdirsyncer keep
    /// theirs.
    QString folder() const;

    QString place() const override { return folder(); }
    QList<CalendarList> calendars() const override;
    CalendarAccess access() const override;
    QString whyNoAccess() const override;
    /// Makes the folder where it is missing.
    Task<CalendarAccess> requestAccess() override;
    Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) override;
    QStringList leftOut() const override { return m_leftOut; }
    /// The one of the setting `calendarDefault`, else khal's, else the first one. Its id is empty when it is
    /// made with the first event.
    std::optional<CalendarList> defaultCalendar() const override;
    QString whyNoCalendar() const override;
    QString aboutDefault() const override;
    Task<Result<AddedCalendarItem>> add(NewCalendarEvent event) override;

    CalendarAccess taskAccess() const override { return access(); }
    QString whyNoTaskAccess() const override { return whyNoAccess(); }
    Task<CalendarAccess> requestTaskAccess() override { return requestAccess(); }
    QList<CalendarList> taskLists() const override;
    std::optional<CalendarList> defaultTaskList() const override;
    Task<Result<CalendarList>> makeTaskList(QString title) override;
    Task<Result<>> renameTaskList(QString id, QString title) override;
    Task<QList<CalendarTask>> tasks(QString list) override;
    Task<Result<QList<AddedCalendarItem>>> addTasks(QList<CalendarTask> tasks, QString list) override;

  private:
    QString ownEmail() const { return m_settings.string(u"ownEmail"_s); }
    Result<CalendarList> eventCalendar() const;
    Result<QList<AddedCalendarItem>> writeTasks(const QList<CalendarTask>& tasks, const CalendarList& place,
                                                const QHash<QString, bool>& isDone);
    AddedCalendarItem placed(const QString& id, const CalendarList& list) const;
    bool isQuiet();
    void watch();

    Settings& m_settings;
    Clock& m_clock;
    std::shared_ptr<VdirFiles> m_files;
    int m_notes = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QStringList m_watched;
    Clock::Duration m_looked{-1};
    QStringList m_leftOut;
};

}  // namespace lumbro
