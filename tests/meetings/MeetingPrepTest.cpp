#include "tests/meetings/MeetingPrepFixture.h"
#include "tests/support/Wait.h"

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

TEST_F(MeetingPrepTest, aMeetingIsBriefedAndOfferedAheadAndAtItsStart) {
    auto& event = calendar.put(u"sync"_s, u"Weekly sync"_s, in(2700));
    event.attendees.append({.name = u"Bo"_s, .email = u"bo@acme.com"_s});
    prep.start();
    EXPECT_EQ(prep.upcoming().size(), 1);
    clock.advance(14min);
    EXPECT_TRUE(agent.calls.empty()) << "31 minutes ahead is too early";
    clock.advance(1min);
    ASSERT_EQ(agent.calls.size(), 1U) << "30 minutes ahead";
    const AgentRequest& request = agent.calls.front()->request;
    EXPECT_EQ(request.systemPrompt,
              u"Brief me.\n\nOutput clean markdown only. No preamble, no closing remarks."_s);
    EXPECT_EQ(request.instruction, u"Prepare me for the meeting in stdin."_s);
    EXPECT_EQ(request.model, u"sonnet"_s);
    EXPECT_EQ(request.workingDirectory, library.root());
    EXPECT_EQ(prep.preparing(), QSet<QString>{prep.upcoming().first().key()});
    answer(u"# Brief"_s);
    EXPECT_TRUE(prep.preparing().isEmpty());
    ASSERT_EQ(briefs().size(), 1);
    const CaptureRecord brief = briefs().first();
    EXPECT_EQ(brief.id(), u"2026-03-02-0959-prep"_s);
    EXPECT_EQ(brief.meta.title, u"Weekly sync"_s);
    EXPECT_EQ(brief.meta.attendees, (QStringList{u"Ann Lee"_s, u"Bo"_s}));
    EXPECT_EQ(brief.meta.attendeeEmails, QStringList{u"bo@acme.com"_s});
    EXPECT_EQ(brief.meta.eventID, u"sync"_s);
    EXPECT_EQ(brief.meta.endedAt, event.end);
    EXPECT_EQ(library.handoffs(brief).value(u"prep"_s), u"# Brief"_s);
    EXPECT_EQ(offered(), QStringList());
    clock.advance(24min);
    EXPECT_EQ(offered(), QStringList());
    clock.advance(1min);
    EXPECT_EQ(offered(), QStringList{u"Weekly sync with brief"_s});
    EXPECT_EQ(offers.first().briefID, brief.id());
    isOnShow = false;
    clock.advance(4min);
    EXPECT_EQ(offered().size(), 2) << "again at the start, as it is no longer in front of the user";
    clock.advance(20min);
    EXPECT_EQ(offered().size(), 2);
    EXPECT_EQ(agent.calls.size(), 1U);
}

TEST_F(MeetingPrepTest, anOfferThatIsOnShowIsNotMadeAgainAtTheStart) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(180));
    prep.start();
    answer();
    EXPECT_EQ(offered(), QStringList()) << "the next look finds it";
    clock.advance(30s);
    EXPECT_EQ(offered(), QStringList{u"Weekly sync with brief"_s});
    clock.advance(3min);
    EXPECT_EQ(offered().size(), 1);
}

TEST_F(MeetingPrepTest, whatIsFirstSeenLateStillGetsWhatItsTimeAllows) {
    struct Row {
        int until;
        bool briefed, shown, prompted;
    };
    const Row rows[] = {
        {1801, false, false, false}, {1740, true, false, false},  {314, true, true, false},
        {75, true, true, true},      {-119, true, true, true},    {-120, true, true, false},
        {-240, true, true, false},   {-300, false, false, false},
    };
    for (const Row& row : rows) {
        offers.clear();
        isOnShow = false;
        agent.calls.clear();
        calendar.held.clear();
        const QString title = u"At %1"_s.arg(row.until);
        calendar.put(title, title, in(row.until));
        MeetingPrep fresh(ports());
        fresh.start();
        ASSERT_EQ(!agent.calls.empty(), row.briefed) << row.until;
        EXPECT_EQ(offers.size(), row.prompted ? 1 : 0) << row.until << ", without a brief";
        if (row.briefed) {
            answer();
            offers.clear();
            MeetingPrep next(ports());
            next.start();
            EXPECT_EQ(offers.size(), (row.shown ? 1 : 0) + (row.prompted ? 1 : 0)) << row.until;
        }
    }
}

TEST_F(MeetingPrepTest, aMeetingThatIsCalledOffIsNotOffered) {
    auto& event = calendar.put(u"sync"_s, u"Weekly sync"_s, in(300));
    prep.start();
    event.isCanceled = true;
    answer();
    clock.advance(10min);
    EXPECT_EQ(offered(), QStringList());
    EXPECT_TRUE(prep.agenda().isEmpty());
    EXPECT_EQ(briefs().size(), 1) << "what the agent wrote is kept";
}

TEST_F(MeetingPrepTest, overlappingMeetingsAreEachBriefedAndOffered) {
    calendar.put(u"a"_s, u"One"_s, in(600), 60);
    calendar.put(u"b"_s, u"Two"_s, in(600));
    calendar.put(u"c"_s, u"Alone"_s, in(600), 60, {});
    prep.start();
    EXPECT_EQ(prep.agenda().size(), 3);
    EXPECT_EQ(prep.preparing().size(), 2);
    agent.calls.at(1)->answer(u"two"_s);
    agent.calls.at(0)->answer(u"one"_s);
    EXPECT_EQ(briefs().size(), 2);
    isOnShow = false;
    clock.advance(10min);
    EXPECT_EQ(offered(), (QStringList{u"One with brief"_s, u"Two with brief"_s, u"One with brief"_s,
                                      u"Two with brief"_s}));
    EXPECT_EQ(prep.eventNow()->title, u"One"_s);
}

TEST_F(MeetingPrepTest, theClockSetBackOffersNothingTwice) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(280));
    prep.start();
    answer();
    clock.advance(5min);
    ASSERT_EQ(offered().size(), 1);
    clock.setNow(clock.now().addSecs(-3600));
    clock.advance(70min);
    EXPECT_EQ(offered().size(), 1);
    EXPECT_EQ(agent.calls.size(), 1U);
}

TEST_F(MeetingPrepTest, aMeetingOfTheNextDayIsSeenAcrossMidnight) {
    clock.setNow(QDateTime(QDate(2026, 3, 2), QTime(23, 50)));
    calendar.put(u"night"_s, u"Night shift"_s, QDateTime(QDate(2026, 3, 3), QTime(0, 10)));
    calendar.put(u"far"_s, u"Tomorrow"_s, QDateTime(QDate(2026, 3, 3), QTime(23, 59)));
    calendar.put(u"farther"_s, u"The day after"_s, QDateTime(QDate(2026, 3, 4), QTime(0, 0)));
    prep.start();
    EXPECT_EQ(prep.agenda().size(), 2);
    EXPECT_EQ(prep.upcoming().size(), 1);
    answer();
    EXPECT_EQ(briefs().first().id(), u"2026-03-03-0010-prep"_s);
    clock.advance(15min);
    EXPECT_EQ(prep.agenda().size(), 3);
    EXPECT_EQ(offered(), QStringList{u"Night shift with brief"_s});
}

TEST_F(MeetingPrepTest, switchedOffItOnlyReads) {
    settings.set(u"meetingPrepEnabled"_s, false);
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(60));
    prep.start();
    clock.advance(2min);
    EXPECT_EQ(prep.upcoming().size(), 1);
    EXPECT_TRUE(agent.calls.empty());
    EXPECT_EQ(offered(), QStringList());
    settings.set(u"meetingPrepEnabled"_s, true);
    clock.advance(30s);
    EXPECT_EQ(agent.calls.size(), 1U);
    answer();
}

TEST_F(MeetingPrepTest, withoutAccessThereIsNothingAndOneLineInTheLog) {
    calendar.granted = CalendarAccess::notDetermined;
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(60));
    const auto before = logged(u"[prep] no calendar access (not determined)"_s);
    prep.start();
    clock.advance(10min);
    EXPECT_TRUE(prep.agenda().isEmpty());
    EXPECT_EQ(calendar.readings, 0);
    EXPECT_EQ(logged(u"[prep] no calendar access (not determined)"_s) - before, 1);
    EXPECT_EQ(wait(prep.requestAccess()), CalendarAccess::full);
    clock.advance(30s);
    EXPECT_EQ(prep.agenda().size(), 1);
    calendar.granted = CalendarAccess::denied;
    calendar.tellChanged();
    EXPECT_TRUE(prep.agenda().isEmpty()) << "what was read before is no longer shown";
}

TEST_F(MeetingPrepTest, theReadingThatWasBegunLastCounts) {
    calendar.isClosed = true;
    calendar.put(u"old"_s, u"Old"_s, in(3600));
    prep.start();
    calendar.held.clear();
    calendar.put(u"new"_s, u"New"_s, in(3600));
    calendar.tellChanged();
    calendar.answer();
    EXPECT_TRUE(prep.agenda().isEmpty());
    calendar.answer();
    ASSERT_EQ(prep.agenda().size(), 1);
    EXPECT_EQ(prep.agenda().first().title, u"New"_s);
}

TEST_F(MeetingPrepTest, askIsToldOfTheNextMeetingsAndAStoredBriefOfItsLink) {
    calendar.put(u"past"_s, u"Past"_s, in(-60));
    calendar.put(u"series"_s, u"One"_s, in(-7200)).url = u"https://zoom.us/j/1"_s;
    calendar.put(u"series"_s, u"Two"_s, in(7200)).url = u"https://zoom.us/j/2"_s;
    calendar.put(u"series"_s, u"Three"_s, in(9000)).url = u"https://zoom.us/j/3"_s;
    wait(prep.refresh());
    const QList<PrepEvent> next = prep.nextEvents(1);
    ASSERT_EQ(next.size(), 1);
    EXPECT_EQ(next.first().title, u"Two"_s);
    EXPECT_EQ(prep.nextEvents(9).size(), 2);
    EXPECT_EQ(prep.link(u"series"_s), QUrl(u"https://zoom.us/j/2"_s));
    EXPECT_EQ(prep.link(u"unknown"_s), std::nullopt);
}
