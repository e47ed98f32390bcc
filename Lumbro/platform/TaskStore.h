#pragma once

#include "platform/CalendarStore.h"

#include <QDate>

namespace lumbro {

/// A task as a store keeps it. `id` is empty until it has been added.
struct CalendarTask {
    QString id{};
    QString title{};
    QString notes{};
    std::optional<QDate> due{};
    bool isDone = false;

    bool operator==(const CalendarTask&) const = default;
};

/// The user's lists of tasks. Main thread.
class TaskStore {
  public:
    TaskStore() = default;
    TaskStore(const TaskStore&) = delete;
    TaskStore& operator=(const TaskStore&) = delete;
    virtual ~TaskStore() = default;

    /// Connects to where the tasks are kept, where that takes time, and gives the access there is then. Asks
    /// the user nothing. Comes before each use of the rest.
    virtual Task<CalendarAccess> openTasks() { co_return taskAccess(); }
    virtual CalendarAccess taskAccess() const = 0;
    /// A sentence for the user: why there is less than full access, and what to do about it. May be empty.
    virtual QString whyNoTaskAccess() const { return {}; }
    /// Asks the user once where that is needed, and gives the access there is then.
    virtual Task<CalendarAccess> requestTaskAccess() = 0;

    virtual QList<CalendarList> taskLists() const = 0;
    /// The list that new tasks go to by default; nothing when there is none.
    virtual std::optional<CalendarList> defaultTaskList() const = 0;
    /// As a calendar's: from before the list is looked for until the tasks are added.
    virtual Task<Result<AddingTurn>> beginAdding() { co_return AddingTurn(); }
    virtual Task<Result<CalendarList>> makeTaskList(QString title) = 0;
    virtual Task<Result<>> renameTaskList(QString id, QString title) = 0;

    /// All tasks of a list, done ones too, in no particular order.
    virtual Task<QList<CalendarTask>> tasks(QString list) = 0;
    /// Adds all of them and reads them back, or none: what was written of a batch that fails is taken back.
    virtual Task<Result<QList<AddedCalendarItem>>> addTasks(QList<CalendarTask> tasks, QString list) = 0;
};

}  // namespace lumbro
