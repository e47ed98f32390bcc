#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "platform/Organizer.h"

#include <memory>

namespace lumbro {

/// The calendars and tasks of where the setting `calendarSource` says, at each call. Main thread.
class ChosenOrganizer final : public Organizer {
    Q_OBJECT

  public:
    ChosenOrganizer(Settings& settings, Clock& clock);
    ~ChosenOrganizer() override;

    QString place() const override { return now().place(); }
    QList<CalendarList> calendars() const override { return now().calendars(); }
    Task<Result<AddingTurn>> beginAdding() override;
    Task<CalendarAccess> open() override { return now().open(); }
    CalendarAccess access() const override { return now().access(); }
    QString whyNoAccess() const override { return now().whyNoAccess(); }
    Task<CalendarAccess> requestAccess() override { return now().requestAccess(); }
    Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) override {
        return now().events(from, to);
    }
    QStringList leftOut() const override { return now().leftOut(); }
    std::optional<CalendarList> defaultCalendar() const override { return now().defaultCalendar(); }
    QString whyNoCalendar() const override { return now().whyNoCalendar(); }
    QString aboutDefault() const override { return now().aboutDefault(); }
    Task<Result<AddedCalendarItem>> add(NewCalendarEvent event) override { return now().add(event); }

    Task<CalendarAccess> openTasks() override { return now().openTasks(); }
    CalendarAccess taskAccess() const override { return now().taskAccess(); }
    QString whyNoTaskAccess() const override { return now().whyNoTaskAccess(); }
    Task<CalendarAccess> requestTaskAccess() override { return now().requestTaskAccess(); }
    QList<CalendarList> taskLists() const override { return now().taskLists(); }
    std::optional<CalendarList> defaultTaskList() const override { return now().defaultTaskList(); }
    Task<Result<CalendarList>> makeTaskList(QString title) override { return now().makeTaskList(title); }
    Task<Result<>> renameTaskList(QString id, QString title) override {
        return now().renameTaskList(id, title);
    }
    Task<QList<CalendarTask>> tasks(QString list) override { return now().tasks(list); }
    Task<Result<QList<AddedCalendarItem>>> addTasks(QList<CalendarTask> tasks, QString list) override {
        return now().addTasks(tasks, list);
    }

  protected:
    void connectNotify(const QMetaMethod& signal) override;

  private:
    Organizer& now() const;
    void follow(Organizer* organizer) const;

    Settings& m_settings;
    Clock& m_clock;
    bool m_isWatched = false;
    /// Made when first chosen; kept, as flows may be under way in both.
    mutable std::unique_ptr<Organizer> m_folder;
    mutable std::unique_ptr<Organizer> m_evolution;
};

}  // namespace lumbro
