#include "LumbroCore/AppLog.h"
#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
#include "meetings/MeetingPrep.h"
#include "memory/MemoryStore.h"
#include "tests/meetings/FakeCalendar.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

/// A calendar, a library with the built-in engine's stand-in and an agent that the test plays; now is
/// 9:14:05.
class MeetingPrepTest : public ::testing::Test {
  protected:
    MeetingPrepTest() {
        engine("name: Prep\nhidden: true\nmodel: sonnet");
        library.open();
        memory.bootstrap();
    }

    void engine(const QByteArray& fields) const {
        scratch.write(u"library/engines/prep.md"_s, "---\n" + fields + "\nversion: 99\n---\nBrief me.\n");
    }
    QDateTime in(int seconds) const { return clock.now().addSecs(seconds); }
    MeetingPrep::Ports ports() { return portsWith(library); }
    MeetingPrep::Ports portsWith(ContextLibrary& captures) {
        return {.calendar = calendar,
                .clock = clock,
                .settings = settings,
                .library = captures,
                .memory = memory,
                .agent = agent,
                .present = [this](const MeetingOffer& offer) { offers.append(offer); },
                .isPresented =
                    [this](const PrepEvent& event) {
                        return !offers.isEmpty() && isOnShow && offers.last().event.key() == event.key();
                    }};
    }
    void answer(const Result<QString>& text = u"# Brief"_s) { agent.calls.back()->answer(text); }
    QStringList offered() const {
        QStringList told;
        for (const MeetingOffer& offer : offers) {
            told += offer.event.title + (offer.briefID ? u" with brief"_s : QString());
        }
        return told;
    }
    QList<CaptureRecord> briefs() const {
        QList<CaptureRecord> found = library.captures();
        found.removeIf([](const CaptureRecord& record) { return record.meta.kind != CaptureKind::prep; });
        return found;
    }
    CaptureRecord capture(const QString& title, int daysAgo, const QStringList& attendees) {
        auto record = library.createCapture(CaptureKind::meeting, title, {}, in(-86'400 * daysAgo));
        record.meta.endedAt = record.meta.startedAt.addSecs(1800);
        record.meta.attendees = attendees;
        EXPECT_TRUE(library.save(record));
        return record;
    }
    static qsizetype logged(const QString& text) {
        AppLog::flush();
        return readTextFile(AppLog::url()).value_or(QString()).count(text);
    }

    ScratchFolder scratch;
    TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    ContextLibrary library{scratch.path(u"library"_s), clock, {}, scratch.path(u"built-in"_s)};
    MemoryStore memory{library, clock, settings};
    FakeCalendar calendar;
    ScriptedAgent agent;
    QList<MeetingOffer> offers;
    bool isOnShow = true;
    MeetingPrep prep{ports()};
};

}  // namespace

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

TEST_F(MeetingPrepTest, aBriefIsTriedOnceAndAMeetingThatMovesIsANewOne) {
    auto& event = calendar.put(u"sync"_s, u"Weekly sync"_s, in(1200));
    prep.start();
    agent.calls.back()->answer(fail(u"No more today."_s));
    EXPECT_EQ(logged(u"[prep] prep failed for 'Weekly sync': No more today."_s), 1);
    clock.advance(2min);
    EXPECT_EQ(agent.calls.size(), 1U);
    event.start = event.start.addSecs(600);
    calendar.tellChanged();
    EXPECT_EQ(agent.calls.size(), 1U) << "a change is read at once, and acted on at the next look";
    clock.advance(30s);
    ASSERT_EQ(agent.calls.size(), 2U);
    EXPECT_TRUE(agent.calls.back()->request.context.contains(u"9:44 AM"));
    answer();
}

TEST_F(MeetingPrepTest, ABriefOfAMeetingThatMovesMeanwhileIsNotTakenForTheNewOnes) {
    auto& event = calendar.put(u"sync"_s, u"Weekly sync"_s, in(300));
    prep.start();
    event.start = in(1500);
    event.end = in(3000);
    clock.advance(30s);
    ASSERT_EQ(agent.calls.size(), 2U);
    EXPECT_EQ(prep.preparing().size(), 2);
    agent.calls.front()->answer(u"old"_s);
    EXPECT_EQ(prep.brief(prep.upcoming().first()), std::nullopt);
    answer(u"new"_s);
    const auto brief = prep.brief(prep.upcoming().first());
    ASSERT_TRUE(brief);
    EXPECT_EQ(library.handoffs(*brief).value(u"prep"_s), u"new"_s);
    clock.advance(20min);
    EXPECT_EQ(offered(), QStringList{u"Weekly sync with brief"_s});
    EXPECT_EQ(offers.first().briefID, brief->id());
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

TEST_F(MeetingPrepTest, aBriefThatACommandWroteIsFoundAndNotWrittenAgain) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(1740));
    ContextLibrary other(library.root(), clock, {}, scratch.path(u"built-in"_s));
    const auto record = other.createCapture(CaptureKind::prep, u"Weekly sync"_s, {}, in(1740));
    ASSERT_TRUE(other.writeHandoff(u"# Theirs"_s, u"prep"_s, record));
    prep.start();
    EXPECT_TRUE(agent.calls.empty());
    clock.advance(25min);
    EXPECT_EQ(offered(), QStringList{u"Weekly sync with brief"_s});
    const auto again = prep.prepare(prep.upcoming().first());
    answer(u"# Newer"_s);
    EXPECT_EQ(briefs().size(), 1) << "a brief that is asked for again takes the earlier one's place";
    EXPECT_EQ(library.handoffs(record).value(u"prep"_s), u"# Newer"_s);
}

TEST_F(MeetingPrepTest, twoProcessesPayForOneBrief) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(1740));
    ContextLibrary other(library.root(), clock, {}, scratch.path(u"built-in"_s));
    other.open();
    MeetingPrep theirs(portsWith(other));
    wait(theirs.refresh());
    prep.start();
    ASSERT_EQ(agent.calls.size(), 1U);
    theirs.start();
    const auto refused = wait(theirs.prepare(theirs.upcoming().first()));
    EXPECT_TRUE(!refused && refused.error().message.startsWith(u"Another Lumbro has the brief"_s));
    EXPECT_EQ(agent.calls.size(), 1U) << "it is being written";
    answer(fail(u"No more today."_s));
    clock.advance(30s);
    ASSERT_EQ(agent.calls.size(), 2U) << "it was not, and is tried by the other one";
    const PrepEvent event = prep.upcoming().first();
    EXPECT_FALSE(prep.brief(event));
    answer(u"# Theirs"_s);
    EXPECT_FALSE(prep.brief(event)) << "not read yet";
    const auto found = wait(prep.prepare(event));
    ASSERT_TRUE(found);
    EXPECT_EQ(library.handoffs(*found).value(u"prep"_s), u"# Theirs"_s);
    EXPECT_EQ(agent.calls.size(), 2U);
}

TEST_F(MeetingPrepTest, withoutTheEngineOrAPlaceNoCaptureIsMade) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(600));
    prep.start();
    QDir(library.capturesFolder()).removeRecursively();
    scratch.write(u"library/captures"_s, "a file where a folder should be");
    const auto before = logged(u"[prep] prep failed for 'Weekly sync': "_s);
    answer();
    EXPECT_EQ(logged(u"[prep] prep failed for 'Weekly sync': "_s) - before, 1);
    EXPECT_TRUE(briefs().isEmpty());
    QFile::remove(scratch.path(u"library/engines/prep.md"_s));
    library.reloadEngines(true);
    calendar.put(u"other"_s, u"Other"_s, in(600));
    clock.advance(1min);
    EXPECT_EQ(logged(u"[prep] no prep engine in ~/Quillet/engines"_s), 1);
    EXPECT_TRUE(prep.preparing().isEmpty());
}

TEST_F(MeetingPrepTest, anAnswerAfterItsEndHarmsNobody) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(600));
    {
        MeetingPrep brief(ports());
        brief.start();
    }
    answer();
    EXPECT_TRUE(briefs().isEmpty());
}

TEST_F(MeetingPrepTest, theInputHoldsThePeopleThePromisesAndTheLastCaptures) {
    scratch.write(u"library/memory/people/ann-lee.md"_s,
                  "---\nname: Ann Lee\nemail: ann@acme.com\n---\n\n## About\n- likes tea\n" +
                      QByteArray("x").repeated(5000));
    scratch.write(
        u"library/memory/promises.md"_s,
        "# Promises\n\n- [ ] send the deck · Me → [[people/ann-lee|Ann Lee]] · 2026-03-01 ^p-aaaaaa\n"
        "- [x] call · [[people/ann-lee|Ann Lee]] → Me · 2026-03-01 ^p-bbbbbb\n");
    memory.reload(true);
    const auto last = capture(u"Last week"_s, 7, {u"Ann Lee"_s});
    ASSERT_TRUE(library.writeHandoff(u"They agreed."_s, u"notes"_s, last));
    ASSERT_TRUE(library.writeHandoff(u"Dear Ann"_s, u"followup"_s, last));
    ASSERT_TRUE(library.writeTranscript({{QUuid::createUuid(), Speaker::me, 0, u"Hello"_s}}, last));
    for (int days : {8, 9, 10}) {
        capture(u"Day %1"_s.arg(days), days, {u"ann lee"_s});
    }
    capture(u"Somebody else"_s, 1, {u"Cy"_s});
    library.createCapture(CaptureKind::prep, u"A brief"_s, {}, in(-3600));
    const PrepEvent event{.id = u"sync"_s,
                          .title = u"Weekly sync"_s,
                          .start = QDateTime(QDate(2026, 3, 2), QTime(10, 0)),
                          .end = QDateTime(QDate(2026, 3, 2), QTime(10, 45)),
                          .attendees = {{u"Lee, A."_s, u"Ann@acme.com"_s}, {u"Bo"_s, {}}},
                          .notes = u"Bring the numbers"_s,
                          .link = {}};
    const QString text = prep.context(event);
    EXPECT_TRUE(
        text.startsWith(u"# MEETING: Weekly sync\nWhen: Mar 2, 2026 at 10:00 AM, 45 min\n"
                        "Attendees: Lee, A., Bo\n\nBring the numbers\n\n"
                        "# WHAT MY MEMORY KNOWS ABOUT THEM\nAnn Lee (memory/people/ann-lee.md)\n"))
        << qPrintable(text.left(300));
    EXPECT_TRUE(text.contains(
        u"x\n\nBo (no memory file yet)\n\n# OPEN PROMISES WITH THEM\n- Me → Ann Lee: send the deck\n\n"
        "# MY LAST CAPTURES WITH THEM\n# CAPTURE: Last week (Feb 23, 2026 at 9:14 AM)\n## NOTES\nThey "
        "agreed.\n"
        "## FOLLOWUP\nDear Ann\n## TRANSCRIPT\n[00:00:00] Me: Hello\n\n# CAPTURE: Day 8"))
        << qPrintable(text);
    EXPECT_LT(text.count(u'x'), 4000) << "a page is told up to 4000 characters";
    EXPECT_TRUE(text.contains(u"Day 9") && !text.contains(u"Day 10") && !text.contains(u"Somebody") &&
                !text.contains(u"A brief"));
    const QString alone = prep.context({.id = {},
                                        .title = u"Alone"_s,
                                        .start = event.start,
                                        .end = event.end,
                                        .attendees = {},
                                        .notes = {},
                                        .link = {}});
    EXPECT_FALSE(alone.contains(u"Attendees"));
    EXPECT_EQ(alone.count(u"(none)"_s), 3);
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
