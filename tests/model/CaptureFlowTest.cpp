#include "LumbroCore/AtomicFile.h"
#include "tests/model/ModelFixture.h"

#include <gmock/gmock.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

using testing::ElementsAre;

class CaptureFlowTest : public test::ModelTest {
  protected:
    void prepare(AppModel::Ports& made) override {
        made.memorize = [this](const CaptureRecord& record) {
            memorized.append(record.id());
            return remembered(memoryFailure);
        };
        made.callApp = [](auto) { return std::optional(CallApp{u"Zoom"_s, u"us.zoom.xos"_s}); };
    }
    static Task<Result<>> remembered(std::optional<Failure> failure) {
        co_return failure ? Result<>(std::unexpected(*failure)) : Result<>();
    }
    test::FakeSession* session() { return dynamic_cast<test::FakeSession*>(lastSession.data()); }

    static QStringList trashed() {
        return QDir(QDir::homePath() + u"/.local/share/Trash/files"_s)
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    }

    QStringList memorized;
    std::optional<Failure> memoryFailure;
};

TEST_F(CaptureFlowTest, startsByKindIntentAndSurface) {
    struct Row {
        const char* name;
        std::function<void(CaptureFlow&)> start;
        CaptureKind kind;
        QString title;
        bool isCall;
        bool inLibrary;
        bool notesWindow;
    };
    const std::vector<Row> rows{
        {"meeting", [](CaptureFlow& flow) { flow.takeNotes(NoteSurface::beside); }, CaptureKind::meeting,
         u"Meeting"_s, true, false, true},
        {"meeting in the Library", [](CaptureFlow& flow) { flow.takeNotes(NoteSurface::library); },
         CaptureKind::meeting, u"Meeting"_s, true, true, false},
        {"note", [](CaptureFlow& flow) { flow.newNote(); }, CaptureKind::meeting, u"New note"_s, false, true,
         false},
        {"thought", [](CaptureFlow& flow) { flow.toggleNote(); }, CaptureKind::thought, u"New note"_s, false,
         false, false},
        {"hot key outside a call", [](CaptureFlow& flow) { flow.toggleCapture(); }, CaptureKind::meeting,
         u"New note"_s, false, true, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        model->state().setSelection(std::nullopt);
        row.start(model->captures());
        ASSERT_TRUE(model->captures().isRecording());
        const CaptureRecord record = lastSession->record();
        EXPECT_EQ(record.meta.kind, row.kind);
        EXPECT_EQ(record.meta.title, row.title);
        EXPECT_EQ(lastSession->isCall(), row.isCall);
        EXPECT_EQ(record.meta.callApp.has_value(), row.isCall);
        EXPECT_EQ(session()->hasSystemAudio, row.kind == CaptureKind::meeting);
        EXPECT_EQ(model->captures().showConsentHint(), row.kind == CaptureKind::meeting);
        EXPECT_EQ(model->state().selection().has_value(), row.inLibrary);
        EXPECT_EQ(log.contains("notes mine " + record.id()), row.notesWindow);
        EXPECT_EQ(mode(), PillMode(pill::Recording{}));
        clock.advance(5s);
        EXPECT_FALSE(model->captures().showConsentHint());
        model->captures().takeNotes(NoteSurface::beside);  // one recording at a time
        model->captures().newNote();
        EXPECT_EQ(lastSession->record().id(), record.id());
        stop();
    }
}

TEST_F(CaptureFlowTest, theHotKeyTakesNotesInACallAndStopsARecording) {
    inCall = true;
    model->captures().toggleCapture();
    ASSERT_TRUE(model->captures().isRecording());
    EXPECT_EQ(model->captures().noteSurface(), NoteSurface::beside);
    EXPECT_TRUE(lastSession->isCall());
    model->captures().toggleCapture();
    EXPECT_FALSE(model->captures().isRecording());
}

TEST_F(CaptureFlowTest, aMeetingIsLinkedToItsEventAndANoteIsNot) {
    event = PrepEvent{.id = u"e1"_s,
                      .title = u"Review"_s,
                      .start = clock.now(),
                      .end = clock.now().addSecs(1800),
                      .attendees = {{u"Dana"_s, u"dana@example.com"_s}, {u"Room"_s, u"room"_s}},
                      .notes = {},
                      .link = {}};
    const CaptureMeta meeting = start().meta;
    EXPECT_EQ(meeting.title, u"Review"_s);
    EXPECT_EQ(meeting.attendees, (QStringList{u"Dana"_s, u"Room"_s}));
    EXPECT_EQ(meeting.attendeeEmails, QStringList{u"dana@example.com"_s});
    EXPECT_EQ(library->captures().first().meta.eventID, u"e1"_s) << "on disk, too";
    stop();
    EXPECT_EQ(start(CaptureKind::meeting, CaptureIntent::note).meta.title, u"New note"_s);
    stop();
    CaptureRecord prep{scratch.path("library/captures/2026-03-02-0900-prep"), {}};
    prep.meta.title = u"Prep · Board"_s;
    prep.meta.startedAt = clock.now();
    prep.meta.attendees = QStringList{u"Kim"_s};
    model->captures().startCapture(prep);
    EXPECT_EQ(lastSession->record().meta.title, u"Board"_s);
    EXPECT_EQ(lastSession->record().meta.eventID, prep.id());
}

TEST_F(CaptureFlowTest, aStartThatCannotBeLeavesNoCapture) {
    dictationBusy = true;
    const auto busy = test::wait(model->captures().startCapture(CaptureKind::meeting, CaptureIntent::note,
                                                                std::nullopt, NoteSurface::library));
    EXPECT_FALSE(busy);
    EXPECT_EQ(mode(), PillMode(pill::Message{u"Finish dictation before starting a recording."_s, true}));
    EXPECT_TRUE(library->captures().isEmpty());

    dictationBusy = false;
    const QStringList before = trashed();
    script.startFailure = Failure{FailureKind::micUnavailable, u"Couldn't start the microphone: gone"_s};
    model->captures().newNote();
    EXPECT_FALSE(model->captures().isRecording());
    EXPECT_EQ(mode(), PillMode(pill::Message{script.startFailure->message, true}));
    EXPECT_TRUE(library->captures().isEmpty());
    EXPECT_EQ(model->state().selection(), std::nullopt);
    EXPECT_EQ(trashed(), before) << "there is nothing in it to get back";
    clock.advance(10s);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
}

TEST_F(CaptureFlowTest, soundThatNobodyListenedToIsKept) {
    script.hearsNothing = true;
    model->captures().newNote();
    const QString track = model->captures().session()->record().path(u"me.caf"_s);
    ASSERT_TRUE(writeFileAtomically(track, QByteArray(10000, 'x')));
    EXPECT_EQ(test::wait(model->captures().stopCapture()).kind, CaptureEnd::Kind::kept);
    EXPECT_TRUE(QFileInfo::exists(track));
    EXPECT_EQ(mode(), PillMode(pill::Message{
                          u"Saved without words: no speech model for your language is installed."_s, false}));
}

TEST_F(CaptureFlowTest, soundThatTheRecogniserDidNotComeToIsKeptAndTold) {
    script.untranscribedSeconds = 6.2;
    for (const int words : {0, 20}) {
        script.words = words;
        const CaptureRecord record = start();
        ASSERT_TRUE(writeFileAtomically(record.path(u"me.caf"_s), QByteArray(10000, 'x')));
        const CaptureEnd end = stop();
        EXPECT_EQ(end.kind, CaptureEnd::Kind::kept);
        EXPECT_EQ(mode(), PillMode(pill::Message{*end.missedWords(), true}));
        EXPECT_TRUE(end.missedWords()->startsWith(u"7 s of this recording were not transcribed"_s));
        EXPECT_TRUE(library->record(record.id()).has_value());
    }
    CaptureEnd late;
    EXPECT_EQ(late.missedWords(), std::nullopt);
    late.untranscribedSeconds = 3600;
    EXPECT_TRUE(late.missedWords()->startsWith(u"60 min of "_s));
    EXPECT_TRUE(late.missedWords()->contains(u"recognition was too slow"_s));
    late.waitWasEnded = true;
    EXPECT_TRUE(late.missedWords()->endsWith(u" were not transcribed, since the wait was ended."_s));
}

TEST_F(CaptureFlowTest, aFolderThatSomebodyElseRemovedIsTheEndOfIt) {
    script.words = 20;
    script.lostText = u"It was moved."_s;
    script.holdStop = true;
    const CaptureRecord record = start();
    auto stopping = model->captures().stopCapture();
    QDir(record.folder).removeRecursively();
    session()->finish();
    const CaptureEnd end = test::wait(std::move(stopping));
    EXPECT_EQ(end.kind, CaptureEnd::Kind::gone);
    EXPECT_EQ(mode(), PillMode(pill::Message{u"It was moved."_s, true}));
    EXPECT_TRUE(agent.calls.empty());
    EXPECT_TRUE(memorized.isEmpty());
}

TEST_F(CaptureFlowTest, whatFollowsDependsOnKindAndWords) {
    struct Row {
        CaptureKind kind;
        int words;
        QString notes;
        CaptureEnd::Kind end;
        QString message;
        bool named;
    };
    const std::vector<Row> rows{
        {CaptureKind::meeting,
         0,
         {},
         CaptureEnd::Kind::removed,
         u"Nothing was heard, so the note was removed."_s,
         false},
        {CaptureKind::thought,
         2,
         {},
         CaptureEnd::Kind::removed,
         u"Nothing was heard, so the note was removed."_s,
         false},
        {CaptureKind::thought, 2, u"milk"_s, CaptureEnd::Kind::kept, u"Note saved. Didn't catch any words."_s,
         true},
        {CaptureKind::thought, 3, {}, CaptureEnd::Kind::kept, u"Note saved to memory."_s, true},
        {CaptureKind::thought, 40, {}, CaptureEnd::Kind::kept, u"Note saved to memory."_s, true},
        {CaptureKind::meeting, 0, u"milk"_s, CaptureEnd::Kind::kept,
         u"Saved. Not enough speech to enhance."_s, true},
        {CaptureKind::meeting,
         19,
         {},
         CaptureEnd::Kind::kept,
         u"Saved. Not enough speech to enhance."_s,
         true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.message.toStdString());
        agent.calls.clear();
        memorized.clear();
        log.clear();
        script.words = row.words;
        const CaptureRecord record = start(row.kind, CaptureIntent::note);
        scratch.write("library/captures/" + record.id() + "/notes.md", row.notes.toUtf8());
        const CaptureEnd end = stop();
        EXPECT_EQ(end.kind, row.end);
        EXPECT_EQ(mode(), PillMode(pill::Message{row.message, false}));
        EXPECT_EQ(agent.calls.size(), row.named ? 1U : 0U);
        const bool kept = row.end == CaptureEnd::Kind::kept;
        EXPECT_EQ(library->record(record.id()).has_value(), kept);
        EXPECT_EQ(memorized, kept ? QStringList{record.id()} : QStringList());
        EXPECT_EQ(log.contains("close " + record.id()), !kept);
        clock.advance(4s);
        EXPECT_EQ(mode(), PillMode(pill::Idle{}));
        EXPECT_THAT(inbox(), ElementsAre());
    }
}

TEST_F(CaptureFlowTest, aMeetingOfTwentyWordsRunsTheAutomaticEngines) {
    script.words = 20;
    QStringList steps;
    QObject::connect(&model->captures(), &CaptureFlow::finishStep,
                     [&steps](const QString& step) { steps.append(step); });
    const QString id = start().id();
    stop();
    EXPECT_THAT(steps, ElementsAre(u"Finishing the transcript…"_s, u"Updating the memory…"_s,
                                   u"Writing the notes…"_s));
    EXPECT_EQ(mode(), PillMode(pill::Working{u"notes"_s, id}));
    EXPECT_EQ(runsOf(u"Enhance"_s).size(), 1U);
    EXPECT_EQ(runsOf(u"Email"_s).size(), 1U);
    EXPECT_EQ(runsOf(u"Content"_s).size(), 0U);
    EXPECT_EQ(namings().size(), 1U);
    EXPECT_THAT(inbox(), ElementsAre("handoff-" + id));
    runsOf(u"Email"_s).at(0)->answer(u"mail"_s);
    EXPECT_EQ(mode(), PillMode(pill::Working{u"notes"_s, id})) << "the others are quiet";
    runsOf(u"Enhance"_s).at(0)->answer(u"notes"_s);
    EXPECT_EQ(mode(), PillMode(pill::Done{u"notes"_s, id}));
}

TEST_F(CaptureFlowTest, withoutAnEnhanceEngineThePillOffersTheEngines) {
    QFile::remove(scratch.path("library/engines/notes.md"));
    QFile::remove(scratch.path("library/engines/email.md"));
    library->reloadEngines(true);
    script.words = 20;
    const QString id = start().id();
    stop();
    EXPECT_EQ(mode(), PillMode(pill::Choose{id}));
    EXPECT_TRUE(agent.calls.empty());
    clock.advance(12s);
    EXPECT_THAT(inbox(), ElementsAre("handoff-" + id));
}

TEST_F(CaptureFlowTest, theRecordingIsOverBeforeItsTextsAre) {
    script.holdStop = true;
    script.words = 3;
    const QString id = start(CaptureKind::thought, CaptureIntent::note, NoteSurface::library).id();
    auto stopping = model->captures().stopCapture();
    EXPECT_FALSE(model->captures().isRecording());
    EXPECT_TRUE(library->record(id)->meta.endedAt.has_value());
    EXPECT_EQ(model->captures().finishingCaptureID(), id);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    EXPECT_EQ(stop().kind, CaptureEnd::Kind::notRecording) << "a second press finds nothing";
    auto* const first = session();

    script.holdStop = false;
    const QString next = start(CaptureKind::thought, CaptureIntent::note).id();
    first->finish();
    EXPECT_EQ(test::wait(std::move(stopping)).record.id(), id);
    EXPECT_EQ(model->captures().finishingCaptureID(), QString());
    EXPECT_TRUE(model->captures().isRecording());
    EXPECT_EQ(lastSession->record().id(), next);
}

TEST_F(CaptureFlowTest, lostAudioIsToldAndNothingIsThrownAway) {
    script.lostAudio = u"The disk is full."_s;
    const QString id = start().id();
    const CaptureEnd end = stop();
    EXPECT_EQ(end.kind, CaptureEnd::Kind::kept);
    EXPECT_EQ(end.lostAudio, u"The disk is full."_s);
    EXPECT_TRUE(library->record(id).has_value());
    EXPECT_EQ(mode(), PillMode(pill::Message{u"The disk is full."_s, true}));
}

TEST_F(CaptureFlowTest, aMemoryThatCouldNotBeUpdatedIsToldUnlessThatWasCancelled) {
    QStringList told;
    QObject::connect(&model->captures(), &CaptureFlow::memoryFailed, &model->captures(),
                     [&told](const QString& id, const Failure& failure) { told << id << failure.message; });
    script.words = 5;
    memoryFailure = Failure{FailureKind::cancelled, u"Cancelled"_s};
    start();
    stop();
    EXPECT_EQ(told, QStringList());
    memoryFailure = Failure{FailureKind::failed, u"Claude Code failed"_s};
    const QString id = start().id();
    stop();
    EXPECT_EQ(told, QStringList({id, u"Claude Code failed"_s}));
}

TEST_F(CaptureFlowTest, lostWordsAreToldBeforeAnythingElseAndRunNoEngine) {
    script.lostText = u"The disk is full, so free some space."_s;
    script.lostAudio = u"The disk is full."_s;
    for (const int words : {0, 20}) {
        script.words = words;
        const QString id = start().id();
        const CaptureEnd end = stop();
        EXPECT_EQ(end.kind, CaptureEnd::Kind::kept);
        EXPECT_EQ(end.lostText, script.lostText);
        EXPECT_TRUE(library->record(id).has_value());
        EXPECT_EQ(mode(), PillMode(pill::Message{*script.lostText, true}));
        EXPECT_TRUE(runsOf(u"Enhance"_s).empty());
        EXPECT_TRUE(inbox().contains("handoff-" + id));
    }
}

TEST_F(CaptureFlowTest, wordsThatCouldNotBeWrittenAreNoReasonToRemove) {
    script.words = 3;
    script.losesWords = true;
    const QString id = start().id();
    EXPECT_EQ(stop().kind, CaptureEnd::Kind::kept);
    EXPECT_TRUE(library->record(id).has_value());
}

TEST_F(CaptureFlowTest, anEmptyCaptureIsRemovedOnceItsAudioIsPacked) {
    QString id;
    int there = 0;
    script.onPacked = [&] { there += library->record(id) ? 1 : 0; };
    id = start().id();
    EXPECT_EQ(stop().kind, CaptureEnd::Kind::removed);
    EXPECT_EQ(there, 1);
}

TEST_F(CaptureFlowTest, aModelThatGoesWhileStoppingDoesNoHarm) {
    script.holdStop = true;
    start();
    auto stopping = model->captures().stopCapture();
    auto* const held = session();
    model.reset();
    held->finish();
    EXPECT_EQ(test::wait(std::move(stopping)).kind, CaptureEnd::Kind::kept);
    EXPECT_TRUE(memorized.isEmpty());
}

}  // namespace

}  // namespace lumbro
