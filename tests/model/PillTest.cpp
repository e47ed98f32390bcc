#include "tests/model/ModelFixture.h"

#include <gmock/gmock.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

using testing::ElementsAre;

class PillTest : public test::ModelTest {};

AskAnswer answer(const QString& question) {
    return {question, u"text"_s, {}, u"thread-1"_s, {}};
}

MeetingOffer offer(const std::optional<QString>& brief) {
    PrepEvent event;
    event.id = u"e1"_s;
    event.title = u"Review"_s;
    event.start = QDateTime(QDate(2026, 3, 2), QTime(9, 20));
    event.link = QUrl(u"https://meet.example.com/x"_s);
    return {event, brief};
}

/// A way into a timed mode from rest, how long the mode stays, and what it leaves in the inbox.
struct TimedMode {
    const char* name;
    std::function<void(AppModel&)> enter;
    PillMode shown;
    std::chrono::seconds stays;
    QStringList left;
};

std::vector<TimedMode> timedModes() {
    const QList<DailyIdea> ideas{{u"h"_s, u"a"_s, u"c"_s}};
    return {
        {"an offer to record",
         [](AppModel& model) { model.offerCapture(u"Zoom"_s); },
         pill::OfferCapture{u"Zoom"_s},
         15s,
         {}},
        {"a meeting with a brief",
         [](AppModel& model) { model.presentMeeting(offer(u"p1"_s)); },
         pill::Meeting{offer(u"p1"_s)},
         45s,
         {u"prep-p1"_s}},
        {"a meeting without one",
         [](AppModel& model) { model.presentMeeting(offer({})); },
         pill::Meeting{offer({})},
         45s,
         {}},
        {"the ideas",
         [ideas](AppModel& model) { model.presentIdeas(ideas); },
         pill::Ideas{ideas},
         30s,
         {u"ideas"_s}},
        {"the promises",
         [](AppModel& model) { model.presentPromises({u"Call Dana"_s}); },
         pill::Promises{{u"Call Dana"_s}},
         30s,
         {u"promises"_s}},
        {"an action's end",
         [](AppModel& model) { model.actionFinished(u"r1"_s); },
         pill::Action{u"r1"_s},
         10s,
         {u"action-r1"_s}},
        {"an opened action",
         [](AppModel& model) { model.openInboxItem(pill::Action{u"r1"_s}); },
         pill::Action{u"r1"_s},
         20s,
         {u"action-r1"_s}},
        {"an opened choice",
         [](AppModel& model) { model.openInboxItem(inbox::Handoff{u"c1"_s}); },
         pill::Choose{u"c1"_s},
         12s,
         {u"handoff-c1"_s}},
        {"an opened answer",
         [](AppModel& model) { model.openInboxItem(pill::Answer{answer(u"q"_s)}); },
         pill::Answer{answer(u"q"_s)},
         30s,
         {u"answer-thread-1-q"_s}},
        {"work begun elsewhere",
         [](AppModel& model) { model.commandStarted(u"Linear"_s); },
         pill::Message{u"Working in Linear. Lumbro will tell you when it's done."_s, false},
         4s,
         {}},
        {"work done elsewhere",
         [](AppModel& model) { model.commandDone(answer(u"q"_s)); },
         pill::Answer{answer(u"q"_s)},
         8s,
         {}},
        {"a last promise kept",
         [](AppModel& model) { model.completePromise(u"a"_s, {u"a"_s}); },
         pill::Message{u"Nice. Nothing else due."_s, false},
         4s,
         {}},
        {"a promise kept",
         [](AppModel& model) { model.completePromise(u"a"_s, {u"a"_s, u"b"_s}); },
         pill::Promises{{u"b"_s}},
         30s,
         {u"promises"_s}},
    };
}

TEST_F(PillTest, everyTimedModeStaysItsTimeAndLeavesItsItem) {
    for (const TimedMode& row : timedModes()) {
        SCOPED_TRACE(row.name);
        row.enter(*model);
        EXPECT_EQ(mode(), row.shown);
        clock.advance(row.stays - 1ms);
        EXPECT_EQ(mode(), row.shown);
        clock.advance(1ms);
        EXPECT_EQ(mode(), PillMode(pill::Idle{}));
        EXPECT_EQ(inbox(), row.left);
        for (const QString& id : row.left) {
            model->pill().removeFromInbox(id);
        }
    }
}

TEST_F(PillTest, offersWaitInTheInboxWhileTheUserIsBusy) {
    const QList<DailyIdea> ideas{{u"h"_s, u"a"_s, u"c"_s}};
    model->asks().openAsk();
    model->offerCapture(u"Zoom"_s);
    model->callEnded();
    model->presentMeeting(offer({}));
    model->presentPromises({});
    EXPECT_THAT(inbox(), ElementsAre());
    model->presentMeeting(offer(u"p1"_s));
    model->presentIdeas(ideas);
    model->presentPromises({u"a"_s});
    model->actionFinished(u"r1"_s);
    EXPECT_THAT(inbox(), ElementsAre(u"action-r1"_s, u"promises"_s, u"ideas"_s, u"prep-p1"_s));
    EXPECT_EQ(mode(), PillMode(pill::Ask{}));

    model->asks().openHome();
    model->presentIdeas(ideas);
    EXPECT_EQ(mode(), PillMode(pill::Ideas{ideas})) << "the home panel counts as free";
}

TEST_F(PillTest, neverCollapsesUnderThePointer) {
    model->offerCapture(u"Zoom"_s);
    hovering = true;
    clock.advance(60s);
    EXPECT_EQ(mode(), PillMode(pill::OfferCapture{u"Zoom"_s}));
    hovering = false;
    clock.advance(400ms);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
}

TEST_F(PillTest, aNewerModeIsNotCollapsedByAnOlderTimer) {
    model->offerCapture(u"Zoom"_s);
    hovering = true;
    clock.advance(15s);
    model->asks().openHome();
    hovering = false;
    clock.advance(60s);
    EXPECT_EQ(mode(), PillMode(pill::Home{}));
    EXPECT_EQ(clock.timerCount(), 0U);
}

TEST_F(PillTest, restIsTheRecordingWhileOneRuns) {
    start();
    model->pill().say(u"Hello"_s);
    clock.advance(4s);
    EXPECT_EQ(mode(), PillMode(pill::Recording{}));
    model->callEnded();
    EXPECT_EQ(mode(), PillMode(pill::CallEnded{}));
    clock.advance(20s);
    EXPECT_EQ(mode(), PillMode(pill::Recording{}));
    model->dismissPill();
    EXPECT_EQ(mode(), PillMode(pill::Recording{}));
}

TEST_F(PillTest, theInboxHoldsTenItemsOncEachNewestFirst) {
    for (int i = 0; i < 11; ++i) {
        model->pill().addToInbox(pill::Action{QString::number(i)});
    }
    EXPECT_EQ(inbox().size(), 10);
    EXPECT_EQ(inbox().first(), u"action-10"_s);
    EXPECT_EQ(inbox().last(), u"action-1"_s);
    model->pill().addToInbox(pill::Promises{{u"a"_s}});
    model->pill().addToInbox(pill::Action{u"10"_s});
    model->pill().addToInbox(pill::Promises{{u"b"_s}});
    EXPECT_EQ(inbox().mid(0, 3), (QStringList{u"promises"_s, u"action-10"_s, u"action-9"_s}));
    EXPECT_EQ(model->pill().inbox().first(), InboxItem(pill::Promises{{u"b"_s}}));
}

TEST_F(PillTest, tellsOnlyRealChanges) {
    int modes = 0;
    int inboxes = 0;
    QObject::connect(&model->pill(), &Pill::modeChanged, [&modes] { ++modes; });
    QObject::connect(&model->pill(), &Pill::inboxChanged, [&inboxes] { ++inboxes; });
    model->dismissPill();
    model->pill().removeFromInbox(u"ideas"_s);
    EXPECT_EQ(modes + inboxes, 0);
    model->pill().addToInbox(pill::Action{u"1"_s});
    model->pill().addToInbox(pill::Action{u"1"_s});
    model->asks().openHome();
    model->asks().openHome();
    EXPECT_EQ(modes, 1);
    EXPECT_EQ(inboxes, 1);
}

TEST_F(PillTest, resultsOpenWhereTheyCanBeRead) {
    const CaptureRecord capture = makeCapture();
    const QString id = capture.id();
    model->openInboxItem(inbox::Result{u"email"_s, id});
    EXPECT_EQ(model->state().selection(), SidebarItem::capture(id));
    EXPECT_EQ(model->state().tab(), LibraryTab::handoffs);
    model->openInboxItem(inbox::Result{u"notes"_s, id});
    model->openNotes(id);
    EXPECT_TRUE(library->writeHandoff(u"Better"_s, u"notes"_s, capture));
    model->openNotes(id);
    EXPECT_THAT(log, ElementsAre("notes enhanced " + id, "notes mine " + id, "notes enhanced " + id));
    model->openRun(u"r7"_s);
    EXPECT_EQ(model->state().openRun(), u"r7"_s);
    model->openPromises();
    EXPECT_EQ(model->state().selection()->kind, SidebarItem::Kind::promises);
}

TEST_F(PillTest, joiningAMeetingOpensItsLinkAndRecordsIt) {
    model->presentMeeting(offer(u"p1"_s));
    model->pill().addToInbox(pill::Prep{u"p1"_s, {}, {}});
    model->joinMeeting(offer(u"p1"_s));
    EXPECT_THAT(inbox(), ElementsAre());
    ASSERT_TRUE(model->captures().isRecording());
    const CaptureMeta meta = library->captures().first().meta;
    EXPECT_EQ(meta.title, u"Review"_s);
    EXPECT_EQ(meta.eventID, u"e1"_s);
    EXPECT_EQ(log.first(), u"open https://meet.example.com/x"_s);
    EXPECT_EQ(mode(), PillMode(pill::Recording{}));
}

TEST_F(PillTest, aPromisePutOffLeavesTheOthers) {
    model->completeLater(u"a"_s, {u"a"_s, u"b"_s});
    EXPECT_EQ(mode(), PillMode(pill::Promises{{u"b"_s}}));
    model->completeLater(u"b"_s, {u"b"_s});
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    EXPECT_THAT(log, ElementsAre()) << "nothing was marked as done";
}

}  // namespace

}  // namespace lumbro
