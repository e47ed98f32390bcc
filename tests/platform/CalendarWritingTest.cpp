#include "LumbroCore/AtomicFile.h"
#include "platform/linux/desktop/ChosenOrganizer.h"
#include "platform/linux/desktop/VdirCalendar.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumbro;
using test::wait;

namespace {

const QDateTime noon(QDate(2026, 3, 2), QTime(12, 0));

/// A user whose first calendar by name isn't the one for new events.
class CalendarWritingTest : public testing::Test {
  protected:
    CalendarWritingTest() {
        qputenv("XDG_CONFIG_HOME", m_folder.path(u"config"_s).toUtf8());
        m_settings.set(u"calendarFolder"_s, m_folder.path(u"calendars"_s));
        for (const auto& [name, title] : {std::pair("birthdays", "Birthdays"),
                                          {"home", "Personal"},
                                          {"team", "Work"},
                                          {"work", "Work"}}) {
            m_folder.write(u"calendars/%1/displayname"_s.arg(QLatin1String(name)), title);
        }
    }
    ~CalendarWritingTest() override { qunsetenv("XDG_CONFIG_HOME"); }

    /// The folder that a new event stands in, or why it stands nowhere.
    QString added(const NewCalendarEvent& event = {u"Lunch"_s, noon, noon.addSecs(1800), {}}) {
        const auto done = wait(m_calendar.add(event));
        return done ? done->path.section(u'/', -2, -2) : done.error().message;
    }

    test::ScratchFolder m_folder;
    Settings m_settings{m_folder.path(u"settings.ini"_s)};
    test::TestClock m_clock;
    VdirCalendar m_calendar{m_settings, m_clock};
};

TEST_F(CalendarWritingTest, aNewEventGoesWhereTheUserWantsIt) {
    struct Row {
        QString setting;
        QByteArray khal;
        QString folder;
    };
    const QByteArray discovered = "[calendars]\n[[all]]\npath = ~/x/*\ntype = discover\n";
    const QByteArray listed = "[calendars]\n  [[mine]]  # the usual one\n  path = \"" +
                              m_folder.path(u"calendars/work"_s).toUtf8() +
                              "/\"\n  [[other]]\n  path = ~/none\n";
    const QList<Row> rows{
        {{}, {}, u"birthdays"_s},
        {u"Personal"_s, {}, u"home"_s},
        {u"Personal"_s, "[default]\ndefault_calendar = birthdays\n", u"home"_s},
        {u"work"_s, {}, u"work"_s},
        {{}, "[default]\ndefault_calendar = Personal  # as khal prints it\n" + discovered, u"home"_s},
        {{}, "[default]\ndefault_calendar = 'mine'\n" + listed, u"work"_s},
        {{}, listed + "[default]\nhighlight_event_days = True\ndefault_calendar=mine", u"work"_s},
        {{}, "[default]\ndefault_calendar = other\n" + listed, u"birthdays"_s},
        {{}, "[default]\ndefault_calendar = gone\n" + discovered, u"birthdays"_s},
        {{},
         "[default]\ndefault_calendar = '''mine'''\n[calendars]\n[[mine]]\npath = "
         "'''${KHAL_TEST_ROOT}/work'''\n",
         u"work"_s},
        {{},
         "[default]\ndefault_calendar = mine\n[calendars]\n[[mine]]\npath = "
         "$KHAL_TEST_ROOT/$NONE_SUCH/../home\n",
         u"birthdays"_s},
        {{}, "[locale]\ndefault_calendar = Personal\n[[default]\n=\n]\0\xff", u"birthdays"_s},
    };
    qputenv("KHAL_TEST_ROOT", m_folder.path(u"calendars"_s).toUtf8());
    for (const Row& row : rows) {
        m_settings.set(u"calendarDefault"_s, row.setting);
        m_folder.write(u"config/khal/config"_s, row.khal);
        EXPECT_EQ(added(), row.folder) << row.setting.toStdString() << row.khal.toStdString();
        const bool isUsed = row.folder != u"birthdays" || !row.khal.contains("default_calendar") ||
                            row.khal.startsWith("[locale]");
        EXPECT_EQ(m_calendar.aboutDefault().isEmpty(), isUsed) << row.khal.toStdString();
    }
    // Tasks have a list of their own, which the setting must not take away.
    m_settings.set(u"calendarDefault"_s, u"Persnal"_s);
    EXPECT_TRUE(m_calendar.defaultTaskList());
    EXPECT_FALSE(m_calendar.defaultCalendar());
    EXPECT_TRUE(added().startsWith(u"The calendar \"Persnal\" for new events isn't there"_s));
    EXPECT_TRUE(m_calendar.whyNoCalendar().contains(u"(there are: Birthdays, Personal, Work, Work)"_s));
    m_settings.set(u"calendarDefault"_s, u"Work"_s);
    EXPECT_TRUE(m_calendar.whyNoCalendar().contains(u"one of these: team, work."_s));
}

TEST_F(CalendarWritingTest, whatWeCannotReadAgainIsNotAdded) {
    m_settings.set(u"calendarDefault"_s, u"Personal"_s);
    const auto at = [](int year) { return QDateTime(QDate(year, 3, 5), QTime(23, 50), Qt::UTC); };
    const QString big(IcalFile::mostBytes, u'x');
    const NewCalendarEvent rows[] = {
        {u"last year"_s, at(9999), at(9999).addDays(400), {}},
        {u"first year"_s, at(1), at(1).addSecs(600), {}},
        {big, noon, noon.addSecs(600), {}},
        {u"long notes"_s, noon, noon.addSecs(600), big},
    };
    for (const NewCalendarEvent& row : rows) {
        EXPECT_TRUE(added(row).contains(u"can't be read back; nothing was added"_s))
            << qPrintable(row.title.left(20));
    }
    EXPECT_FALSE(
        wait(m_calendar.addTasks({{.title = u"good"_s}, {.title = big}}, m_calendar.folder() + u"/home"_s)));
    EXPECT_EQ(QDir(m_folder.path(u"calendars/home"_s)).entryList(QDir::Files), QStringList{u"displayname"_s});
}

TEST_F(CalendarWritingTest, titlesAsPeopleAndModelsWriteThemAreNoReasonToRefuse) {
    m_settings.set(u"calendarDefault"_s, u"Personal"_s);
    const QString rows[] = {
        u"  blanks  "_s,         u"tab\tand\u00a0more"_s,
        u"line\nbreak\r\nend"_s, u"bell\a and \u001b[31mred"_s,
        u"\\n \\, \\;"_s,        u"\u202eover \U0001F600 e\u0301"_s,
        QString(QChar(0xD800)),  u"\u007f\u0085\u2028"_s,
        u"BEGIN:VEVENT"_s,       u"x\nEND:VCALENDAR\nBEGIN:VEVENT"_s,
        u"\"quoted\" ^n"_s,      u"ü"_s.repeated(500),
    };
    for (const QString& row : rows) {
        EXPECT_EQ(added({row, noon, noon.addSecs(600), row}), u"home"_s) << qPrintable(row);
        EXPECT_TRUE(
            wait(m_calendar.addTasks({{.title = row, .notes = row}}, m_calendar.folder() + u"/home"_s)))
            << qPrintable(row);
    }
}

TEST_F(CalendarWritingTest, oneAddsAfterTheOther) {
    ChosenOrganizer organizer(m_settings, m_clock);
    ChosenOrganizer other(m_settings, m_clock);
    auto first = wait(organizer.beginAdding());
    ASSERT_TRUE(first);
    auto second = other.beginAdding();
    auto third = other.beginAdding();
    EXPECT_FALSE(second.isReady());
    first = fail(QString());
    m_clock.advance(std::chrono::milliseconds(20));
    EXPECT_TRUE(test::eventually([&second] { return second.isReady(); }));
    const auto turn = wait(std::move(second));
    EXPECT_TRUE(turn);
    for (int i = 0; i < 600 && !third.isReady(); ++i) {
        m_clock.advance(std::chrono::milliseconds(20));
    }
    ASSERT_TRUE(third.isReady());
    EXPECT_FALSE(wait(std::move(third)));
}

TEST_F(CalendarWritingTest, whatCannotBeLockedIsToldAtOnce) {
    m_settings.set(u"calendarFolder"_s, m_folder.path(u"calendars/home/displayname"_s));
    ChosenOrganizer organizer(m_settings, m_clock);
    const auto turn = wait(organizer.beginAdding());
    ASSERT_FALSE(turn);
    EXPECT_TRUE(turn.error().message.contains(u"can't open the folder"_s))
        << qPrintable(turn.error().message);
}

TEST_F(CalendarWritingTest, theSameOpenTaskIsAddedOnce) {
    const QString home = m_folder.path(u"calendars/home"_s);
    const auto files = [&home] { return QDir(home).entryList({u"*.ics"_s}); };
    const QList<CalendarTask> tasks{{.title = u"call"_s}, {.title = u"call"_s}, {.title = u"mail"_s}};
    const auto first = wait(m_calendar.addTasks(tasks, home));
    ASSERT_TRUE(first);
    EXPECT_EQ(files().size(), 3);
    // As a process that was killed before the last one leaves it.
    QFile::remove(first->at(2).path);
    VdirCalendar other(m_settings, m_clock);
    const auto again = wait(other.addTasks(tasks, home));
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->at(0).existed && again->at(1).existed);
    EXPECT_FALSE(again->at(2).existed);
    EXPECT_EQ(again->at(2), first->at(2));
    EXPECT_EQ(files().size(), 3);
    // What was there stays when one of the others can't be written.
    const QString big(IcalFile::mostBytes, u'x');
    EXPECT_FALSE(wait(other.addTasks({{.title = u"call"_s}, {.title = u"new"_s}, {.title = big}}, home)));
    EXPECT_EQ(files().size(), 3);
    // Done, it is wanted once more.
    QByteArray bytes = readFile(first->at(2).path).value_or(QByteArray());
    ASSERT_TRUE(writeFileAtomically(first->at(2).path, bytes.replace("NEEDS-ACTION", "COMPLETED")));
    const auto anew = wait(other.addTasks({{.title = u"mail"_s}}, home));
    ASSERT_TRUE(anew);
    EXPECT_FALSE(anew->at(0).existed);
    EXPECT_EQ(files().size(), 4);
}

TEST_F(CalendarWritingTest, aCalendarThatCannotBeWrittenGetsNothing) {
    m_settings.set(u"calendarDefault"_s, u"Personal"_s);
    // Root may write anywhere, but not into what is no folder.
    const QString home = m_folder.path(u"calendars/home"_s);
    ASSERT_TRUE(QDir(home).removeRecursively());
    m_folder.write(u"calendars/home"_s, {});
    EXPECT_TRUE(added().startsWith(u"The calendar \"Personal\" for new events isn't there"_s));
    const auto tasks = wait(m_calendar.addTasks({{.title = u"one"_s}}, home));
    ASSERT_FALSE(tasks);
    EXPECT_TRUE(tasks.error().message.startsWith(u"Nothing was added: can't write %1/"_s.arg(home)));
    EXPECT_TRUE(tasks.error().message.contains(u".ics: "_s)) << qPrintable(tasks.error().message);
}

}  // namespace
