#include "tests/meetings/MeetingPrepFixture.h"
#include "tests/support/Wait.h"

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

/// How briefs are asked for, written and filed.
class BriefTest : public MeetingPrepTest {
  protected:
    /// The same library in another process.
    ContextLibrary other{library.root(), clock, {}, scratch.path(u"built-in"_s)};
};

}  // namespace

TEST_F(BriefTest, aBriefIsTriedOnceAndAMeetingThatMovesIsANewOne) {
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

TEST_F(BriefTest, aBriefOfAMeetingThatMovesMeanwhileIsNotTakenForTheNewOnes) {
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

TEST_F(BriefTest, aBriefThatACommandWroteIsFoundAndNotWrittenAgain) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(1740));
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

TEST_F(BriefTest, twoProcessesPayForOneBrief) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(1740));
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

TEST_F(BriefTest, whoAsksForABriefThatAnotherProcessHasWrittenWaitsForIt) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(3600));
    other.open();
    MeetingPrep theirs(portsWith(other));
    wait(theirs.refresh());
    wait(prep.refresh());
    const PrepEvent event = prep.upcoming().first();
    int waits = 0;
    const auto onWait = [&waits] { ++waits; };
    for (const bool again : {false, true}) {
        const auto first = theirs.prepare(event);
        auto second = prep.prepare(event, nullptr, onWait);
        clock.advance(5s);
        EXPECT_FALSE(second.isReady());
        answer(again ? u"# Newer"_s : u"# Theirs"_s);
        clock.advance(1s);
        ASSERT_TRUE(second.isReady());
        const auto found = wait(std::move(second));
        ASSERT_TRUE(found);
        EXPECT_EQ(library.handoffs(*found).value(u"prep"_s), again ? u"# Newer"_s : u"# Theirs"_s);
    }
    EXPECT_EQ(agent.calls.size(), 2U);
    EXPECT_EQ(waits, 2) << "told once each time";

    const auto failing = theirs.prepare(event);
    auto third = prep.prepare(event, nullptr, onWait);
    const auto cancel = std::make_shared<CancellationHandle>();
    auto given = prep.prepare(event, cancel, onWait);
    cancel->cancel();
    answer(fail(u"No more today."_s));
    clock.advance(1s);
    EXPECT_EQ(wait(std::move(given)).error().kind, FailureKind::cancelled);
    ASSERT_EQ(agent.calls.size(), 4U) << "the other one has failed";
    answer(u"# Ours"_s);
    EXPECT_TRUE(wait(std::move(third)));
}

TEST_F(BriefTest, withoutTheEngineOrAPlaceNoCaptureIsMade) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(600));
    prep.start();
    QDir(library.capturesFolder()).removeRecursively();
    scratch.write(u"library/captures"_s, "a file where a folder should be");
    const auto before = logged(u"[prep] prep failed for 'Weekly sync': "_s);
    answer();
    EXPECT_EQ(logged(u"[prep] prep failed for 'Weekly sync': "_s) - before, 1);
    EXPECT_TRUE(briefs().isEmpty());
    const size_t asked = agent.calls.size();
    calendar.put(u"next"_s, u"Next"_s, in(600));
    clock.advance(1min);
    EXPECT_EQ(agent.calls.size(), asked) << "nobody pays for what can't be written";
    EXPECT_EQ(logged(u"[prep] prep failed for 'Next': there is no place for a brief, for "_s), 1);
    QFile::remove(scratch.path(u"library/engines/prep.md"_s));
    library.reloadEngines(true);
    calendar.put(u"other"_s, u"Other"_s, in(600));
    clock.advance(1min);
    EXPECT_EQ(logged(u"[prep] no prep engine in ~/Quillet/engines"_s), 1);
    EXPECT_TRUE(prep.preparing().isEmpty());
}

TEST_F(BriefTest, anAnswerAfterItsEndHarmsNobody) {
    calendar.put(u"sync"_s, u"Weekly sync"_s, in(600));
    {
        MeetingPrep brief(ports());
        brief.start();
    }
    answer();
    EXPECT_TRUE(briefs().isEmpty());
}

TEST_F(BriefTest, theInputHoldsThePeopleThePromisesAndTheLastCaptures) {
    scratch.write(u"library/memory/people/ann-lee.md"_s,
                  "---\nname: Ann Lee\nemail: ann@acme.com\n---\n\n## About\n- likes tea\n" +
                      QByteArray("x").repeated(5000));
    scratch.write(
        u"library/memory/promises.md"_s,
        "# Promises\n\n- [ ] send the deck · Me → [[people/ann-lee|Ann Lee]] · 2026-03-01 ^p-aaaaaa\n"
        "- [x] call · [[people/ann-lee|Ann Lee]] → Me · 2026-03-01 ^p-bbbbbb\n");
    memory.reload(true);
    const auto last = capture(in(-86'400 * 7), CaptureKind::meeting, u"Last week"_s, {u"Ann Lee"_s});
    ASSERT_TRUE(library.writeHandoff(u"They agreed."_s, u"notes"_s, last));
    ASSERT_TRUE(library.writeHandoff(u"Dear Ann"_s, u"followup"_s, last));
    ASSERT_TRUE(library.writeTranscript({{QUuid::createUuid(), Speaker::me, 0, u"Hello"_s}}, last));
    for (int days : {8, 9, 10}) {
        capture(in(-86'400 * days), CaptureKind::meeting, u"Day %1"_s.arg(days), {u"ann lee"_s});
    }
    capture(in(-86'400), CaptureKind::meeting, u"Somebody else"_s, {u"Cy"_s});
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
