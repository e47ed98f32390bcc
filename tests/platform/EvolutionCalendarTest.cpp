#include "platform/linux/desktop/CalendarModule.h"
#include "platform/linux/desktop/EvolutionCalendar.h"
#include "platform/linux/desktop/VdirCalendar.h"
#include "tests/platform/MadeCalendar.h"
#include "tests/support/PrivateSession.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QElapsedTimer>

#include <csignal>

#include <gtest/gtest.h>

using namespace lumbro;
using test::eventually;
using test::PrivateSession;
using test::wait;

namespace {

const QString factory = u"evolution-calendar-factory"_s;
const QString module = QStringLiteral(LUMBRO_BINARY_DIR "/lumbro-eds.so");

/// What matters to an agenda beyond the times.
const QList<std::pair<QString, QList<QByteArray>>> people{
    {u"asked"_s,
     {"DTSTART;TZID=Europe/Berlin:20260310T090000\r\nDURATION:PT1H\r\nLOCATION:Room 1\r\n"
      "DESCRIPTION:Bring\\, the numbers\r\nURL:https://example.org/j\r\n"
      "ATTENDEE;CN=Ann Lee;PARTSTAT=ACCEPTED:mailto:ann@acme.com\r\n"
      "ATTENDEE;CUTYPE=ROOM;CN=Room 1:mailto:room@acme.com\r\n"
      "ATTENDEE;CN=Me;PARTSTAT=TENTATIVE:mailto:me@example.org\r\n"}},
    {u"declined"_s,
     {"DTSTART;TZID=Europe/Berlin:20260310T110000\r\nDURATION:PT1H\r\n"
      "ATTENDEE;PARTSTAT=DECLINED:mailto:ME@example.org\r\n"}},
    {u"called off"_s, {"DTSTART:20260310T120000Z\r\nDURATION:PT1H\r\nSTATUS:CANCELLED\r\n"}},
    {u"free"_s, {"DTSTART:20260310T130000Z\r\nDURATION:PT1H\r\nTRANSP:TRANSPARENT\r\n"}},
    {u"moved in"_s,
     {"DTSTART:20250106T090000Z\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY;COUNT=3\r\n",
      "RECURRENCE-ID:20250107T090000Z\r\nDTSTART:20260311T090000Z\r\nDURATION:PT1H\r\n"}},
    {u"moved out"_s,
     {"DTSTART:20260311T100000Z\r\nDURATION:PT1H\r\nRRULE:FREQ=DAILY;COUNT=2\r\n",
      "RECURRENCE-ID:20260312T100000Z\r\nDTSTART:20290101T090000Z\r\nDURATION:PT1H\r\n"}},
};

/// A real Evolution Data Server. What it holds at its start: all events above, in its own calendar.
class EvolutionCalendarTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        if (!PrivateSession::isInstalled() || !QFile::exists(module)) {
            return;
        }
        session = std::make_unique<PrivateSession>(PrivateSession::Kind::evolution);
        QByteArray all;
        for (const auto& [id, events] : test::madeCalendar + people) {
            all += test::vevents(id, events);
        }
        session->home().write(u".local/share/evolution/calendar/system/calendar.ics"_s,
                              test::calendarFile(all));
        ASSERT_TRUE(session->start());
    }
    static void TearDownTestSuite() { session.reset(); }

    void SetUp() override {
        if (!session) {
            GTEST_SKIP() << "Evolution Data Server is not installed";
        }
        settings.set(u"ownEmail"_s, u"me@example.org"_s);
    }
    static Result<std::unique_ptr<CalendarService>> load() { return calendarModule::load({module}); }
    static QList<CalendarEvent> eventsOf(CalendarStore& calendar, QDate from, int days) {
        return wait(calendar.events(from.startOfDay(), from.addDays(days).startOfDay()));
    }

    static std::unique_ptr<PrivateSession> session;
    test::ScratchFolder folder;
    Settings settings{folder.path(u"settings.ini"_s)};
    SystemClock clock;
    EvolutionCalendar calendar{settings, clock, load};
};

std::unique_ptr<PrivateSession> EvolutionCalendarTest::session;

QString told(const QList<CalendarEvent>& events) {
    QString text;
    for (CalendarEvent event : events) {
        std::ranges::sort(event.attendees, {}, &CalendarAttendee::email);
        text += u"%1 %2 %3%4%5%6 [%7|%8|%9]"_s.arg(
            event.start.toString(Qt::ISODate), event.end.toString(Qt::ISODate), event.title,
            event.isAllDay ? u" all day"_s : QString(), event.isCanceled ? u" canceled"_s : QString(),
            event.isFree ? u" free"_s : QString(), event.location, event.notes, event.url);
        for (const CalendarAttendee& attendee : event.attendees) {
            text += u" %1<%2>%3%4%5"_s.arg(attendee.name, attendee.email)
                        .arg(int(attendee.kind))
                        .arg(int(attendee.answer))
                        .arg(attendee.isCurrentUser ? u" me"_s : QString());
        }
        text += u'\n';
    }
    return text;
}

}  // namespace

TEST_F(EvolutionCalendarTest, readsWhatTheSameCalendarGivesAsFiles) {
    test::writeFolder(folder, test::madeCalendar + people);
    settings.set(u"calendarFolder"_s, folder.path(u"calendars"_s));
    VdirCalendar files(settings, clock);
    for (const QDate& from : {QDate(2026, 3, 1), QDate(2026, 10, 12)}) {
        const QList<CalendarEvent> theirs = eventsOf(calendar, from, 36);
        EXPECT_EQ(calendar.access(), CalendarAccess::full) << qPrintable(calendar.whyNoAccess());
        EXPECT_GT(theirs.size(), 40);
        EXPECT_EQ(told(theirs).toStdString(), told(eventsOf(files, from, 36)).toStdString());
    }
}

TEST_F(EvolutionCalendarTest, whatIsWrittenStandsThereForOthers) {
    EXPECT_EQ(wait(calendar.open()), CalendarAccess::full) << qPrintable(calendar.whyNoAccess());
    EvolutionCalendar other(settings, clock, load);
    EXPECT_TRUE(eventsOf(other, QDate(2027, 5, 1), 1).isEmpty());
    int changes = 0;
    QObject::connect(&other, &CalendarStore::changed, &other, [&changes] { ++changes; });
    EXPECT_TRUE(eventsOf(other, QDate(2027, 5, 1), 1).isEmpty());

    const NewCalendarEvent lunch{.title = u"Lunch; with Ann, Bo\\"_s,
                                 .start = QDateTime(QDate(2027, 5, 1), QTime(12, 0)),
                                 .end = QDateTime(QDate(2027, 5, 1), QTime(13, 30)),
                                 .notes = u"Two\nlines"_s};
    const auto added = wait(calendar.add(lunch));
    ASSERT_TRUE(added) << qPrintable(added.error().message);
    EXPECT_EQ(added->calendar, calendar.defaultCalendar()->title);
    EXPECT_TRUE(eventually([&changes] { return changes > 0; }));
    const QList<CalendarEvent> there = eventsOf(other, QDate(2027, 5, 1), 1);
    ASSERT_EQ(there.size(), 1);
    EXPECT_EQ(there.first().id, added->id);
    EXPECT_EQ(
        NewCalendarEvent({there.first().title, there.first().start, there.first().end, there.first().notes}),
        lunch);

    const auto list = wait(calendar.makeTaskList(u"Lumbro"_s));
    ASSERT_TRUE(list) << qPrintable(list.error().message);
    ASSERT_TRUE(wait(calendar.renameTaskList(list->id, u"Follow-ups"_s)));
    const QList<CalendarTask> tasks{{.title = u"Call Bo"_s},
                                    {.title = u"Write"_s, .notes = u"to Ann"_s, .due = QDate(2027, 5, 3)}};
    const auto filed = wait(calendar.addTasks(tasks, list->id));
    ASSERT_TRUE(filed) << qPrintable(filed.error().message);
    ASSERT_EQ(filed->size(), 2);
    EXPECT_EQ(wait(other.openTasks()), CalendarAccess::full);
    EXPECT_TRUE(other.taskLists().contains(CalendarList{list->id, u"Follow-ups"_s}));
    QList<CalendarTask> read = wait(other.tasks(list->id));
    ASSERT_EQ(read.size(), 2);
    std::ranges::sort(read, {}, &CalendarTask::title);
    for (qsizetype i = 0; i < 2; ++i) {
        CalendarTask expected = tasks[i];
        expected.id = filed->at(i).id;
        EXPECT_EQ(read[i], expected);
    }
    EXPECT_FALSE(wait(calendar.addTasks({{.title = u"Lost"_s}}, u"no-such-list"_s)));
}

TEST_F(EvolutionCalendarTest, aServerThatIsKilledIsStartedAgain) {
    const QDate day(2026, 3, 10);
    const qsizetype count = eventsOf(calendar, day, 1).size();
    ASSERT_GT(count, 3);
    for (const QString& program : {factory, u"evolution-source-registry"_s}) {
        ASSERT_TRUE(session->signal(program, SIGKILL));
        // The bus may not have noticed yet.
        EXPECT_TRUE(eventually([&] { return eventsOf(calendar, day, 1).size() == count; }))
            << qPrintable(program + calendar.whyNoAccess());
    }
    ASSERT_TRUE(session->signal(factory, SIGKILL));
    const QDateTime noon(QDate(2027, 6, 4), QTime(12, 0));
    const auto added = wait(calendar.add({.title = u"Once"_s, .start = noon, .end = noon.addSecs(600)}));
    EXPECT_TRUE(added) << qPrintable(added.error().message);
    EXPECT_EQ(eventsOf(calendar, noon.date(), 1).size(), 1);
}

TEST_F(EvolutionCalendarTest, aServerThatHangsIsGivenUpAndFoundAgain) {
    test::TestClock still;
    EvolutionCalendar hanging(settings, still, load);
    const QDate day(2026, 3, 10);
    const qsizetype count = eventsOf(hanging, day, 1).size();
    ASSERT_TRUE(session->signal(factory, SIGSTOP));
    const QDateTime start = day.startOfDay();
    const auto first = hanging.events(start, start.addDays(1));
    const auto second = hanging.events(start, start.addDays(1));
    still.advance(EvolutionCalendar::patience);
    EXPECT_TRUE(eventually([&] { return first.isReady() && second.isReady(); }));
    EXPECT_EQ(hanging.access(), CalendarAccess::denied);
    EXPECT_TRUE(hanging.whyNoAccess().startsWith(u"Evolution's calendars don't answer"_s))
        << qPrintable(hanging.whyNoAccess());
    ASSERT_TRUE(session->signal(factory, SIGCONT));
    EXPECT_EQ(eventsOf(hanging, day, 1).size(), count);
    EXPECT_EQ(hanging.access(), CalendarAccess::full);
    // One that goes while it waits ends all the same.
    ASSERT_TRUE(session->signal(factory, SIGSTOP));
    Task<QList<CalendarEvent>> last;
    {
        EvolutionCalendar brief(settings, still, load);
        last = brief.events(start, start.addDays(1));
    }
    EXPECT_TRUE(eventually([&last] { return last.isReady(); }));
    ASSERT_TRUE(session->signal(factory, SIGCONT));
}

TEST_F(EvolutionCalendarTest, aRegistryThatHangsIsGivenUpInGoodTime) {
    const QString registry = u"evolution-source-registry"_s;
    EXPECT_EQ(wait(calendar.open()), CalendarAccess::full) << qPrintable(calendar.whyNoAccess());
    ASSERT_TRUE(session->signal(registry, SIGSTOP));
    // One that has opened before goes on with what it knows.
    EXPECT_EQ(wait(calendar.open()), CalendarAccess::full);
    EvolutionCalendar later(settings, clock, load);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(wait(later.open()), CalendarAccess::denied);
    EXPECT_LT(timer.elapsed(), 15'000);
    EXPECT_TRUE(later.whyNoAccess().startsWith(u"Evolution's calendars don't answer"_s))
        << qPrintable(later.whyNoAccess());
    ASSERT_TRUE(session->signal(registry, SIGCONT));
    EXPECT_EQ(wait(later.open()), CalendarAccess::full) << qPrintable(later.whyNoAccess());
}

TEST_F(EvolutionCalendarTest, newEventsGoToTheCalendarOfTheSetting) {
    ASSERT_EQ(wait(calendar.open()), CalendarAccess::full) << qPrintable(calendar.whyNoAccess());
    // That of the birthdays is none to add to.
    ASSERT_EQ(calendar.calendars().size(), 1);
    const CalendarList usual = calendar.calendars().first();
    settings.set(u"calendarDefault"_s, usual.title);
    EXPECT_EQ(calendar.defaultCalendar(), usual);
    settings.set(u"calendarDefault"_s, usual.id);
    EXPECT_EQ(calendar.defaultCalendar(), usual);
    settings.set(u"calendarDefault"_s, u"No such"_s);
    EXPECT_FALSE(calendar.defaultCalendar());
    const QDateTime noon(QDate(2027, 7, 1), QTime(12, 0));
    const qsizetype before = eventsOf(calendar, noon.date(), 1).size();
    const auto added = wait(calendar.add({.title = u"Lunch"_s, .start = noon, .end = noon.addSecs(600)}));
    ASSERT_FALSE(added);
    EXPECT_TRUE(added.error().message.contains(usual.title)) << qPrintable(added.error().message);
    EXPECT_EQ(eventsOf(calendar, noon.date(), 1).size(), before);
}

namespace {

/// The real service, which is given up each time before it says that it has added something.
class UnansweredWrites final : public CalendarService {
  public:
    explicit UnansweredWrites(std::unique_ptr<CalendarService> inner) : m_inner(std::move(inner)) {}

    void post(std::function<void(CalendarService& service)> work) override {
        m_inner->post([this, work](CalendarService&) { work(*this); });
    }
    void cancel() override { m_inner->cancel(); }
    Result<ServiceLists> lists() override { return m_inner->lists(); }
    Result<ServiceItems> events(const QString& calendar, qint64 from, qint64 to) override {
        return m_inner->events(calendar, from, to);
    }
    Result<ServiceItems> tasks(const QString& list) override { return m_inner->tasks(list); }
    Result<QList<QByteArray>> add(Kind kind, const QString& list, const QList<QByteArray>& files) override {
        EXPECT_TRUE(m_inner->add(kind, list, files));
        return fail(FailureKind::cancelled, u"given up"_s);
    }
    Result<ServiceList> makeTaskList(const QString& title) override { return m_inner->makeTaskList(title); }
    Result<> renameTaskList(const QString& list, const QString& title) override {
        return m_inner->renameTaskList(list, title);
    }
    void watch(std::function<void()> changed) override { m_inner->watch(std::move(changed)); }

  private:
    std::unique_ptr<CalendarService> m_inner;
};

}  // namespace

TEST_F(EvolutionCalendarTest, aTaskThatWasGivenUpIsThereOnceAfterAnotherTry) {
    test::TestClock still;
    EvolutionCalendar hanging(settings, still, []() -> Result<std::unique_ptr<CalendarService>> {
        auto inner = load();
        if (!inner) {
            return inner;
        }
        return std::make_unique<UnansweredWrites>(std::move(*inner));
    });
    ASSERT_EQ(wait(hanging.open()), CalendarAccess::full) << qPrintable(hanging.whyNoAccess());
    const auto list = wait(hanging.makeTaskList(u"Retried"_s));
    ASSERT_TRUE(list) << qPrintable(list.error().message);
    const QList<CalendarTask> tasks{
        {.title = u"Call Bo"_s, .notes = u"From Lumbro"_s, .due = QDate(2027, 5, 3)},
        {.title = u"Call Bo"_s, .notes = u"From Lumbro"_s, .due = QDate(2027, 5, 3)},
        {.title = u"Write"_s}};
    EXPECT_FALSE(wait(hanging.addTasks(tasks, list->id)));
    EvolutionCalendar again(settings, still, load);
    ASSERT_EQ(wait(again.open()), CalendarAccess::full);
    const auto second = wait(again.addTasks(tasks, list->id));
    ASSERT_TRUE(second) << qPrintable(second.error().message);
    EXPECT_EQ(std::ranges::count(*second, true, &AddedCalendarItem::existed), 3);
    EXPECT_EQ(wait(again.tasks(list->id)).size(), 3) << "two of them are the same on purpose";
    still.advance(std::chrono::hours(24));
    EXPECT_EQ(wait(again.addTasks({tasks.last()}, list->id))->first().existed, false);
    EXPECT_EQ(wait(again.tasks(list->id)).size(), 4) << "on another day it is another task";
}

TEST(CalendarModule, whatIsMissingIsSaidInASentence) {
    const test::ScratchFolder folder;
    folder.write(u"broken.so"_s, "no module");
    Settings settings(folder.path(u"settings.ini"_s));
    test::TestClock clock;
    const std::pair<QString, QString> rows[] = {
        {folder.path(u"none.so"_s), u"install the package libecal2.0-dev and build Lumbro again"_s},
        {folder.path(u"broken.so"_s), u"install the package evolution-data-server"_s},
        {module, u"can be had in a session of a desktop only; log in to one"_s},
    };
    for (const auto& [path, sentence] : rows) {
        EvolutionCalendar calendar(settings, clock, [&path] { return calendarModule::load({path}); });
        EXPECT_EQ(wait(calendar.open()), CalendarAccess::denied);
        EXPECT_TRUE(calendar.whyNoAccess().contains(sentence)) << qPrintable(calendar.whyNoAccess());
        EXPECT_TRUE(calendar.whyNoAccess().endsWith(u"`lumbro settings set calendarSource folder`."_s));
        const auto added =
            wait(calendar.add({.title = u"Lunch"_s, .start = clock.now(), .end = clock.now().addSecs(60)}));
        EXPECT_FALSE(added);
    }
}
