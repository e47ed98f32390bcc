#include "actions/RemindersExport.h"

#include "LumbroCore/Dates.h"
#include "actions/formats/VisibleText.h"

#include <algorithm>
#include <utility>

namespace lumbro::remindersExport {

namespace {

std::optional<CalendarList> listNamed(const QList<CalendarList>& lists, QStringView title) {
    const auto found = std::ranges::find(lists, title, &CalendarList::title);
    return found == lists.end() ? std::nullopt : std::optional(*found);
}

/// The list for our tasks: "Lumbro", or the one of its older name, or a new one, or the default one.
Task<Result<CalendarList>> remindersList(TaskStore* store) {
    const QList<CalendarList> lists = store->taskLists();
    if (const auto ours = listNamed(lists, u"Lumbro")) {
        co_return *ours;
    }
    if (auto older = listNamed(lists, u"Quillet")) {
        if (const auto renamed = co_await store->renameTaskList(older->id, u"Lumbro"_s); !renamed) {
            co_return std::unexpected(renamed.error());
        }
        older->title = u"Lumbro"_s;
        co_return *older;
    }
    const auto usual = store->defaultTaskList();
    if (!usual) {
        co_return fail(u"No Reminders list found."_s);
    }
    const Result<CalendarList> made = co_await store->makeTaskList(u"Lumbro"_s);
    co_return made.value_or(*usual);
}

}  // namespace

Task<Result<QList<AddedCalendarItem>>> add(TaskStore* store, QList<ActionItem> items, QString note) {
    if (std::ranges::any_of(items, [](const ActionItem& item) { return visibleText(item.task).isEmpty(); })) {
        co_return fail(u"A task without words can't be added; say what is to be done."_s);
    }
    CalendarAccess access = co_await store->openTasks();
    if (access != CalendarAccess::full) {
        access = co_await store->requestTaskAccess();
    }
    if (access != CalendarAccess::full) {
        const QString why = store->whyNoTaskAccess();
        co_return fail(u"Lumbro can't use Reminders. "_s +
                       (why.isEmpty()
                            ? u"Choose a folder for it that can be written in Settings: calendarFolder."_s
                            : why));
    }
    const auto adding = co_await store->beginAdding();
    if (!adding) {
        co_return std::unexpected(adding.error());
    }
    const Result<CalendarList> list = co_await remindersList(store);
    if (!list) {
        co_return std::unexpected(list.error());
    }
    QList<CalendarTask> tasks;
    for (const ActionItem& item : std::as_const(items)) {
        tasks.append({.id = {}, .title = item.task, .notes = note, .due = item.due});
    }
    co_return co_await store->addTasks(tasks, list->id);
}

QString note(const CaptureMeta& capture) {
    return u"From Lumbro: %1, %2"_s.arg(capture.title, dates::readableDay(capture.startedAt));
}

}  // namespace lumbro::remindersExport
