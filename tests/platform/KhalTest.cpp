#include "platform/linux/desktop/VdirCalendar.h"
#include "tests/platform/MadeCalendar.h"
#include "tests/support/Khal.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using test::wait;

namespace {

/// Our events in the form of `Khal::events`.
QStringList lines(const QList<CalendarEvent>& events) {
    QStringList lines;
    for (const CalendarEvent& event : events) {
        const QString form = event.isAllDay ? u"yyyy-MM-dd"_s : u"yyyy-MM-dd HH:mm"_s;
        const QDateTime end = event.isAllDay ? event.end.addDays(-1) : event.end;
        lines.append(event.start.toString(form) + u'|' + end.toString(form) + u'|' + event.title);
    }
    lines.sort();
    return lines;
}

struct KhalTest : testing::TestWithParam<QList<std::pair<QString, QList<QByteArray>>>> {};

TEST_P(KhalTest, seesTheSameOccurrences) {
    if (!test::Khal::hasKhal()) {
        GTEST_SKIP() << "khal is not installed";
    }
    const test::ScratchFolder folder;
    test::writeFolder(folder, GetParam());
    Settings settings{folder.path(u"settings.ini"_s)};
    settings.set(u"calendarFolder"_s, folder.path(u"calendars"_s));
    test::TestClock clock;
    VdirCalendar calendar(settings, clock);
    const test::Khal khal(folder.path(u"calendars"_s), folder.path(u"home"_s));
    // The clocks change on March 29 and October 25 here, on March 8 and November 1 in New York.
    for (const QDate& from : {QDate(2026, 3, 1), QDate(2026, 10, 12)}) {
        const QDate to = from.addDays(36);
        const QStringList theirs = khal.events(from, to);
        EXPECT_GT(theirs.size(), 40);
        EXPECT_EQ(lines(wait(calendar.events(from.startOfDay(), to.startOfDay()))).join(u'\n').toStdString(),
                  theirs.join(u'\n').toStdString());
    }
}

INSTANTIATE_TEST_SUITE_P(calendars, KhalTest, testing::Values(test::madeCalendar, test::seldomRules),
                         [](const auto& row) { return row.index == 0 ? "usual" : "seldom"; });

}  // namespace
