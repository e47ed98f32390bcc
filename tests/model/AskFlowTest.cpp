#include "tests/model/ModelFixture.h"

#include <gmock/gmock.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

using testing::ElementsAre;

class AskFlowTest : public test::ModelTest {
  protected:
    void prepare(AppModel::Ports& made) override {
        made.askDictationPhase = [this] { return phase; };
        made.startAskDictation = [this] { voice.append(u"start"_s); };
        made.stopAskDictation = [this] { voice.append(u"stop"_s); };
        made.finishAskDictation = [this] { voice.append(u"send"_s); };
    }
    void submit(const QString& question) {
        model->asks().setAskDraft(question);
        model->asks().submitAsk();
    }

    AskDictationPhase phase = AskDictationPhase::off;
    QStringList voice;
};

AskAnswer answerTo(const AskCall& call) {
    return {call.question, u"Because."_s, {}, u"thread-1"_s, {}};
}

TEST_F(AskFlowTest, aQuestionIsAnsweredInThePill) {
    model->asks().openAsk();
    submit(u"  Why?\n"_s);
    EXPECT_EQ(mode(), PillMode(pill::Asking{u"Why?"_s}));
    EXPECT_EQ(model->asks().askDraft(), QString());
    EXPECT_EQ(model->asks().askThreadID(), u"thread-1"_s);
    EXPECT_EQ(asked.at(0).scope, AskScope{});
    asked.at(0).onAnswer(answerTo(asked.at(0)));
    EXPECT_EQ(mode(), PillMode(pill::Answer{answerTo(asked.at(0))}));
    clock.advance(30s);
    EXPECT_THAT(inbox(), ElementsAre(u"answer-thread-1-Why?"_s));

    submit(u" \n "_s);
    EXPECT_EQ(asked.size(), 1U) << "a blank draft asks nothing";
    submit(u"And?"_s);
    asked.at(1).onError({FailureKind::limit, u"Limit."_s});
    EXPECT_EQ(mode(), PillMode(pill::Message{u"Limit."_s, true}));
}

TEST_F(AskFlowTest, onlyTheNewestQuestionReachesThePill) {
    submit(u"First"_s);
    submit(u"Second"_s);
    asked.at(0).onAnswer(answerTo(asked.at(0)));
    asked.at(0).onError({FailureKind::failed, u"No."_s});
    EXPECT_EQ(mode(), PillMode(pill::Asking{u"Second"_s}));
    model->dismissPill();
    asked.at(1).onAnswer(answerTo(asked.at(1)));
    EXPECT_EQ(mode(), PillMode(pill::Idle{})) << "the user has moved on";
    EXPECT_THAT(inbox(), ElementsAre());
}

TEST_F(AskFlowTest, closingGivesUpTheQuestionOnItsWay) {
    submit(u"Why?"_s);
    model->asks().closeAsk();
    EXPECT_THAT(log, ElementsAre(u"cancel thread-1"_s));
    EXPECT_EQ(model->asks().askThreadID(), QString());
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    asked.at(0).onError({FailureKind::cancelled, u"Cancelled."_s});
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
}

TEST_F(AskFlowTest, aSecondPressSendsWhatWasSaidOrCloses) {
    struct Row {
        AskDictationPhase phase;
        QString draft;
        QString effect;
        bool open;
    };
    const std::vector<Row> rows{
        {AskDictationPhase::listening, u"Why"_s, u"send"_s, true},
        {AskDictationPhase::listening, u" \t"_s, u"stop"_s, false},
        {AskDictationPhase::finishing, u"Why"_s, {}, true},
        {AskDictationPhase::off, u"Why"_s, u"stop"_s, false},
    };
    for (const Row& row : rows) {
        model->asks().openAsk();
        EXPECT_EQ(voice, QStringList{u"start"_s});
        voice.clear();
        phase = row.phase;
        model->asks().setAskDraft(row.draft);
        model->asks().openAsk();
        EXPECT_EQ(voice.join(u' '), row.effect);
        EXPECT_EQ(model->pill().shows<pill::Ask>(), row.open);
        phase = AskDictationPhase::off;
        model->dismissPill();
        voice.clear();
    }
}

TEST_F(AskFlowTest, aQuestionMayBeAboutACaptureWhileOneRecords) {
    const CaptureRecord record = makeCapture();
    const QString live = start().id();
    model->asks().openAskAbout(record.id());
    EXPECT_TRUE(voice.isEmpty());
    submit(u"Who?"_s);
    EXPECT_EQ(asked.at(0).about->id(), record.id());
    EXPECT_EQ(asked.at(0).scope, AskScope::capture(record.id()));
    EXPECT_EQ(asked.at(0).live->record().id(), live);
    EXPECT_EQ(model->asks().askScopeID(), QString());
}

TEST_F(AskFlowTest, enginesAnswerWhereTheirResultGoes) {
    const QString id = makeCapture().id();
    model->asks().runEngineInPill(engine(u"chat"_s), id);
    EXPECT_EQ(mode(), PillMode(pill::Asking{u"Chat"_s}));
    EXPECT_EQ(asked.at(0).engine->id, u"chat"_s);
    EXPECT_EQ(asked.at(0).scope, AskScope::capture(id));
    model->asks().runEngineInPill(engine(u"email"_s), id);
    EXPECT_EQ(mode(), PillMode(pill::Working{u"email"_s, id}));

    model->asks().runEngineAndShow(engine(u"content"_s), AskScope::capture(id));
    EXPECT_EQ(model->state().selection(), SidebarItem::capture(id));
    EXPECT_EQ(model->state().tab(), LibraryTab::handoffs);
    EXPECT_EQ(runsOf(u"Content"_s).size(), 1U);
    model->asks().runEngineAndShow(engine(u"content"_s), AskScope{});
    EXPECT_EQ(model->state().askThread(), u"thread-2"_s);
    EXPECT_EQ(model->state().selection()->kind, SidebarItem::Kind::ask);
    EXPECT_FALSE(asked.at(1).onAnswer) << "the page shows it, not the pill";
}

TEST_F(AskFlowTest, anAnswerAfterTheModelIsGoneDoesNoHarm) {
    submit(u"Why?"_s);
    model.reset();
    asked.at(0).onAnswer(answerTo(asked.at(0)));
}

}  // namespace

}  // namespace lumbro
