#include "actions/CalendarExport.h"
#include "actions/MailDraft.h"
#include "actions/RemindersExport.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using test::wait;

namespace {

QDateTime at(int day, int hour, int minute = 0) {
    return {QDate(2026, 3, day), QTime(hour, minute)};
}

CalendarEvent eventAt(const QString& title, const QDateTime& start, const QDateTime& end) {
    CalendarEvent event;
    event.title = title;
    event.start = start;
    event.end = end;
    return event;
}

class Calendar final : public CalendarStore {
  public:
    CalendarAccess state = CalendarAccess::full;
    CalendarAccess afterAsking = CalendarAccess::denied;
    QList<CalendarEvent> all;
    QList<NewCalendarEvent> added;
    bool hasDefault = true;

    CalendarAccess access() const override { return state; }
    Task<CalendarAccess> requestAccess() override {
        state = afterAsking;
        co_return state;
    }
    Task<QList<CalendarEvent>> events(QDateTime from, QDateTime to) override {
        QList<CalendarEvent> found;
        for (const CalendarEvent& event : all) {
            if (event.start < to && event.end > from) {
                found.append(event);
            }
        }
        co_return found;
    }
    QString whyNoDefault;
    std::optional<CalendarList> defaultCalendar() const override {
        return hasDefault ? std::optional(CalendarList{u"c"_s, u"Work"_s}) : std::nullopt;
    }
    QString whyNoCalendar() const override { return whyNoDefault; }
    bool isBusy = false;
    Task<Result<AddingTurn>> beginAdding() override {
        co_return isBusy ? fail(u"busy"_s) : Result<AddingTurn>(AddingTurn());
    }
    Task<Result<AddedCalendarItem>> add(NewCalendarEvent item) override {
        added.append(item);
        all.append(eventAt(item.title, item.start, item.end));
        co_return AddedCalendarItem{.id = u"new"_s, .calendar = u"Work"_s};
    }
};

class Tasks final : public TaskStore {
  public:
    CalendarAccess state = CalendarAccess::full;
    QList<CalendarList> lists{{u"p"_s, u"Personal"_s}};
    bool canMake = true;
    QString usedList;
    QList<CalendarTask> added;

    CalendarAccess taskAccess() const override { return state; }
    Task<CalendarAccess> requestTaskAccess() override { co_return CalendarAccess(state); }
    QList<CalendarList> taskLists() const override { return lists; }
    std::optional<CalendarList> defaultTaskList() const override {
        return lists.isEmpty() ? std::nullopt : std::optional(lists.first());
    }
    Task<Result<CalendarList>> makeTaskList(QString title) override {
        if (!canMake) {
            co_return fail(u"no"_s);
        }
        lists.append({u"made"_s, title});
        co_return CalendarList(lists.last());
    }
    Task<Result<>> renameTaskList(QString id, QString title) override {
        for (CalendarList& list : lists) {
            list.title = list.id == id ? title : list.title;
        }
        co_return Result<>();
    }
    Task<QList<CalendarTask>> tasks(QString list) override { co_return QList<CalendarTask>(added); }
    Task<Result<QList<AddedCalendarItem>>> addTasks(QList<CalendarTask> tasks, QString list) override {
        added = tasks;
        usedList = list;
        co_return QList<AddedCalendarItem>(tasks.size());
    }
};

class Opener final : public MailOpener {
  public:
    bool hasCompose = true;
    QByteArray composed;
    QByteArray opened;

    Task<Result<>> compose(QByteArray url) override {
        composed = url;
        co_return hasCompose ? Result<>() : fail(u"there is none"_s);
    }
    Task<Result<>> openUrl(QByteArray url) override {
        opened = url;
        co_return Result<>();
    }
};

TEST(CalendarExport, freeTimesStandBetweenTheEventsOfADay) {
    Calendar calendar;
    calendar.all = {eventAt(u"early"_s, at(3, 8), at(3, 9, 30)), eventAt(u"long"_s, at(3, 10), at(3, 12)),
                    eventAt(u"within"_s, at(3, 10, 30), at(3, 11)),
                    eventAt(u"29 later"_s, at(3, 12, 29), at(3, 13)),
                    eventAt(u"30 later"_s, at(3, 13, 30), at(3, 18))};
    calendar.all.append(eventAt(u"free"_s, at(3, 9, 30), at(3, 17)));
    calendar.all.last().isFree = true;
    calendar.all.append(eventAt(u"off"_s, at(3, 9, 30), at(3, 17)));
    calendar.all.last().isCanceled = true;
    calendar.all.append(eventAt(u"holiday"_s, at(3, 0), at(4, 0)));
    calendar.all.last().isAllDay = true;
    calendar.all.append(eventAt(u"no thanks"_s, at(3, 9, 30), at(3, 17)));
    calendar.all.last().attendees = {
        {.name = u"Me"_s, .answer = CalendarAttendee::Answer::declined, .isCurrentUser = true}};
    const QList<FreeTime> wanted{{at(3, 9, 30), at(3, 10)}, {at(3, 13), at(3, 13, 30)}};
    // Monday at 16:10: the next half hour after an hour is after work, but the day counts.
    EXPECT_EQ(wait(calendarExport::freeTimes(&calendar, 2, 30, at(2, 16, 10))), wanted);
}

TEST(CalendarExport, aFreeTimeStartsOnAHalfHourAnHourAhead) {
    Calendar calendar;
    const QList<std::pair<QTime, QTime>> rows{
        {QTime(8, 0), QTime(9, 0)},
        {QTime(8, 0, 0, 1), QTime(9, 30)},
        {QTime(9, 30), QTime(10, 30)},
        {QTime(7, 0), QTime(9, 0)},
    };
    for (const auto& [now, start] : rows) {
        const auto free =
            wait(calendarExport::freeTimes(&calendar, 1, 30, QDateTime(QDate(2026, 3, 2), now)));
        ASSERT_EQ(free.size(), 1);
        EXPECT_EQ(free.first().start.time(), start);
    }
}

TEST(CalendarExport, theContextListsFiveWorkingDays) {
    Calendar calendar;
    calendar.all = {eventAt(u"lunch"_s, at(9, 12), at(9, 13))};
    EXPECT_EQ(wait(calendarExport::context(&calendar, at(7, 15, 5))),
              u"TODAY: Saturday, March 7, 2026 at 3:05 PM\n\n"
              "## MY FREE TIMES (weekdays 9:00–17:00, my time zone)\n"
              "- 2026-03-09 Mon: 09:00–12:00, 13:00–17:00\n- 2026-03-10 Tue: 09:00–17:00\n"
              "- 2026-03-11 Wed: 09:00–17:00\n- 2026-03-12 Thu: 09:00–17:00\n- 2026-03-13 Fri: 09:00–17:00");
    calendar.state = CalendarAccess::notDetermined;
    EXPECT_EQ(wait(calendarExport::context(&calendar, at(7, 15, 5))),
              u"TODAY: Saturday, March 7, 2026 at 3:05 PM");
}

TEST(CalendarExport, addsOnceAndNamesWhatClashes) {
    Calendar calendar;
    calendar.all = {eventAt({}, at(5, 9), at(5, 10)), eventAt(u"next"_s, at(5, 10), at(5, 11))};
    const EventDraft draft{u"Review"_s, at(5, 9, 30), 30, {u"Dana <d@example.org>"_s, u"Ann"_s}};
    EXPECT_EQ(wait(calendarExport::conflicts(&calendar, draft)), QStringList{u"Busy"_s});
    const auto added = wait(calendarExport::add(&calendar, draft, u"Booked by Lumbro: when?"_s));
    ASSERT_TRUE(added);
    EXPECT_FALSE(added->existed);
    ASSERT_EQ(calendar.added.size(), 1);
    EXPECT_EQ(calendar.added.first().notes, u"With: Dana <d@example.org>, Ann\nBooked by Lumbro: when?");
    EXPECT_EQ(calendar.added.first().end, at(5, 10));
    const auto again = wait(calendarExport::add(&calendar, draft, {}));
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->existed);
    EXPECT_EQ(calendar.added.size(), 1);
}

TEST(CalendarExport, addsNothingThatCannotBeMeantAndNowhereElse) {
    Calendar calendar;
    const EventDraft endless{u"Review"_s, QDateTime(QDate(9999, 12, 31), QTime(23, 50)), 30, {}};
    EXPECT_FALSE(wait(calendarExport::add(&calendar, endless, {})));
    const EventDraft empty{u"Review"_s, at(5, 9, 30), 0, {}};
    EXPECT_FALSE(wait(calendarExport::add(&calendar, empty, {})));
    calendar.isBusy = true;
    EXPECT_FALSE(wait(calendarExport::add(&calendar, {u"Review"_s, at(5, 9, 30), 30, {}}, {})));
    calendar.isBusy = false;
    calendar.hasDefault = false;
    for (const QString& why : {QString(), u"choose another one"_s}) {
        calendar.whyNoDefault = why;
        const auto nowhere = wait(calendarExport::add(&calendar, {u"Review"_s, at(5, 9, 30), 30, {}}, {}));
        ASSERT_FALSE(nowhere);
        EXPECT_EQ(nowhere.error().message,
                  why.isEmpty() ? u"No calendar found. Add one in the Calendar app."_s : why);
    }
    EXPECT_TRUE(calendar.added.isEmpty());
}

TEST(CalendarExport, asksForAccessAndTakesNo) {
    Calendar calendar;
    calendar.state = CalendarAccess::notDetermined;
    const EventDraft draft{u"Review"_s, at(5, 9, 30), 30, {}};
    EXPECT_FALSE(wait(calendarExport::add(&calendar, draft, {})));
    EXPECT_TRUE(calendar.added.isEmpty());
    calendar.afterAsking = CalendarAccess::full;
    EXPECT_TRUE(wait(calendarExport::add(&calendar, draft, {})));
}

TEST(RemindersExport, findsOrMakesItsList) {
    struct Row {
        QList<CalendarList> lists;
        bool canMake;
        QString used;
    };
    const QList<Row> rows{
        {{{u"p"_s, u"Personal"_s}, {u"l"_s, u"Lumbro"_s}, {u"q"_s, u"Quillet"_s}}, true, u"l"_s},
        {{{u"p"_s, u"Personal"_s}, {u"q"_s, u"Quillet"_s}}, true, u"q"_s},
        {{{u"p"_s, u"Personal"_s}}, true, u"made"_s},
        {{{u"p"_s, u"Personal"_s}}, false, u"p"_s},
    };
    for (const Row& row : rows) {
        Tasks store;
        store.lists = row.lists;
        store.canMake = row.canMake;
        const QList<ActionItem> items{{0, u"Me"_s, u"send"_s, QDate(2026, 3, 6), true}};
        ASSERT_TRUE(wait(remindersExport::add(&store, items, u"note"_s)));
        EXPECT_EQ(store.usedList, row.used);
        EXPECT_EQ(store.added, (QList<CalendarTask>{{{}, u"send"_s, u"note"_s, QDate(2026, 3, 6), false}}));
    }
    Tasks none;
    none.lists.clear();
    const auto added = wait(remindersExport::add(&none, {}, {}));
    ASSERT_FALSE(added);
    EXPECT_EQ(added.error().message, u"No Reminders list found.");
    Tasks store;
    const QList<ActionItem> items{{0, {}, u"send"_s, {}, true}, {1, u"Me"_s, {}, QDate(2026, 3, 6), true}};
    EXPECT_FALSE(wait(remindersExport::add(&store, items, {})));
    EXPECT_TRUE(store.added.isEmpty());
}

TEST(MailDraft, fallsBackToAnAddress) {
    const EmailDraft draft{{u"a@b.c"_s, u"--attach"_s}, u"Hi"_s, u"text"_s};
    Opener opener;
    const auto composed = wait(mailDraft::open(&opener, draft));
    ASSERT_TRUE(composed);
    EXPECT_TRUE(composed->composed);
    EXPECT_EQ(opener.composed, draft.url());
    EXPECT_TRUE(opener.opened.isEmpty());
    opener.hasCompose = false;
    const auto opened = wait(mailDraft::open(&opener, draft));
    ASSERT_TRUE(opened);
    EXPECT_FALSE(opened->composed);
    EXPECT_TRUE(opener.opened.startsWith("mailto:a@b.c,"));
}

}  // namespace
