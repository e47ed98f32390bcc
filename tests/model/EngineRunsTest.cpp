#include "tests/model/ModelFixture.h"

#include <gmock/gmock.h>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

using testing::ElementsAre;

const Failure cancelled{FailureKind::cancelled, u"The run was cancelled."_s};
const Failure failed{FailureKind::limit, u"Your plan's limit is reached."_s};

class EngineRunsTest : public test::ModelTest {
  protected:
    void SetUp() override {
        ModelTest::SetUp();
        record = makeCapture();
        id = record.id();
    }
    QStringList states() const {
        QStringList texts;
        for (const auto& [key, state] : model->runs().runs().asKeyValueRange()) {
            texts.append(key + (state.running ? u" running"_s : u" "_s + state.failure));
        }
        return texts;
    }

    CaptureRecord record;
    QString id;
};

TEST_F(EngineRunsTest, aRunGoesFromWorkingToDoneAndIntoTheInbox) {
    model->pill().addToInbox(inbox::Handoff{id});
    model->runs().handOff(engine(u"email"_s), id);
    EXPECT_EQ(mode(), PillMode(pill::Working{u"email"_s, id}));
    EXPECT_THAT(states(), ElementsAre(id + "/email running"));
    EXPECT_THAT(inbox(), ElementsAre()) << "the offer to choose has been answered";
    const AgentRequest& request = runsOf(u"Email"_s).at(0)->request;
    EXPECT_TRUE(request.systemPrompt.startsWith(u"Prompt of email."));
    EXPECT_TRUE(request.context.contains(u"Hello there"));
    EXPECT_TRUE(request.tools.isEmpty());
    EXPECT_TRUE(request.workingDirectory.isEmpty());

    runsOf(u"Email"_s).at(0)->answer(u"Dear Dana"_s);
    EXPECT_EQ(handoff(record, u"email"_s), "Dear Dana");
    EXPECT_EQ(mode(), PillMode(pill::Done{u"email"_s, id}));
    EXPECT_THAT(states(), ElementsAre());
    EXPECT_EQ(model->revision(), 1);
    clock.advance(6s);
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));
    EXPECT_THAT(inbox(), ElementsAre("result-" + id + "-email"));
}

TEST_F(EngineRunsTest, onePairRunsOnceAtATime) {
    model->runs().handOff(engine(u"email"_s), id);
    model->asks().openHome();
    model->runs().handOff(engine(u"email"_s), id);
    EXPECT_EQ(mode(), PillMode(pill::Home{})) << "the second call changes nothing";
    EXPECT_EQ(runsOf(u"Email"_s).size(), 1U);
    model->runs().handOff(engine(u"content"_s), id);
    model->runs().handOff(engine(u"email"_s), u"no-such-capture"_s);
    EXPECT_EQ(agent.calls.size(), 2U);
}

struct Ending {
    const char* name;
    bool quiet;
    bool recording;
    Result<QString> reply;
    bool shown;  // the pill takes part
    QString state;
    bool inInbox;
};

TEST_F(EngineRunsTest, onlyALoudRunWithoutARecordingUsesThePill) {
    const std::vector<Ending> endings{
        {"loud success", false, false, u"text"_s, true, {}, false},
        {"quiet success", true, false, u"text"_s, false, {}, true},
        {"success while recording", false, true, u"text"_s, false, {}, true},
        {"loud failure", false, false, std::unexpected(failed), true, failed.message, false},
        {"quiet failure", true, false, std::unexpected(failed), false, failed.message, false},
        {"failure while recording", false, true, std::unexpected(failed), false, failed.message, false},
        {"loud cancel", false, false, std::unexpected(cancelled), false, {}, false},
        {"quiet cancel", true, false, std::unexpected(cancelled), false, {}, false},
    };
    for (const Ending& row : endings) {
        SCOPED_TRACE(row.name);
        agent.calls.clear();
        if (row.recording) {
            start();
        }
        const PillMode rest = mode();
        model->runs().handOff(engine(u"email"_s), id, std::nullopt, row.quiet);
        EXPECT_EQ(model->pill().shows<pill::Working>(), !row.quiet && !row.recording);
        runsOf(u"Email"_s).at(0)->answer(row.reply);
        EXPECT_EQ(mode() != rest, row.shown);
        EXPECT_EQ(states(), row.state.isEmpty() ? QStringList() : QStringList{id + "/email " + row.state});
        EXPECT_EQ(inbox().contains("result-" + id + "-email"), row.inInbox);
        if (row.shown && !row.reply) {
            EXPECT_EQ(mode(), PillMode(pill::Message{failed.message, true}));
            clock.advance(10s);
        }
        if (row.recording) {
            stop();
        }
        clock.advance(60s);
        model->pill().removeFromInbox("result-" + id + "-email");
        model->pill().removeFromInbox("handoff-" + id);
    }
}

TEST_F(EngineRunsTest, aResultThatCannotBeWrittenIsAFailedRun) {
    scratch.write("library/captures/" + id + "/handoffs", "in the way");
    auto run = model->runs().runEngine(engine(u"content"_s), id, std::nullopt, false);
    runsOf(u"Content"_s).at(0)->answer(u"text"_s);
    const Result<QString> result = test::wait(std::move(run));
    ASSERT_FALSE(result);
    EXPECT_EQ(mode(), PillMode(pill::Message{result.error().message, true}));
    EXPECT_THAT(states(), ElementsAre(id + "/content " + result.error().message));
    EXPECT_EQ(model->revision(), 0);
    clock.advance(60s);
    EXPECT_THAT(inbox(), ElementsAre());
}

TEST_F(EngineRunsTest, aTranscriptThatCannotBeReadStopsARunBeforeItReplacesItsResult) {
    ASSERT_TRUE(library->writeHandoff(u"good"_s, u"email"_s, record));
    scratch.write("library/captures/" + id + "/transcript.json", "[{\"text\":");
    for (const bool quiet : {true, false}) {
        const auto result = test::wait(model->runs().runEngine(engine(u"email"_s), id, std::nullopt, quiet));
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().message.endsWith(u"mend or remove transcript.json first."));
        EXPECT_THAT(states(), ElementsAre(id + "/email " + result.error().message));
        EXPECT_EQ(mode() == PillMode(pill::Message{result.error().message, true}), !quiet);
    }
    EXPECT_TRUE(agent.calls.empty());
    EXPECT_EQ(handoff(record, u"email"_s), "good");

    QFile::remove(record.path(u"transcript.json"_s));
    model->runs().handOff(engine(u"email"_s), id);
    EXPECT_EQ(agent.calls.size(), 1U) << "a capture of notes alone runs";
}

TEST_F(EngineRunsTest, aReplacedRunLeavesNoMark) {
    const std::vector<Result<QString>> lateEnds{u"old"_s, std::unexpected(failed),
                                                std::unexpected(cancelled)};
    for (const Result<QString>& late : lateEnds) {
        agent.calls.clear();
        auto old = model->runs().runEngine(engine(u"email"_s), id, std::nullopt, false);
        model->runs().supersedeRun(id, u"email"_s);
        EXPECT_TRUE(runsOf(u"Email"_s).at(0)->cancel->isCancelled);
        EXPECT_THAT(states(), ElementsAre());
        model->runs().handOff(engine(u"email"_s), id);
        runsOf(u"Email"_s).at(0)->answer(late);
        EXPECT_EQ(test::wait(std::move(old)).error().kind, FailureKind::cancelled);
        EXPECT_EQ(mode(), PillMode(pill::Working{u"email"_s, id}));
        EXPECT_THAT(states(), ElementsAre(id + "/email running"));
        runsOf(u"Email"_s).at(1)->answer(u"new"_s);
        EXPECT_EQ(handoff(record, u"email"_s), "new");
    }
    model->runs().supersedeRun(id, u"email"_s);  // nothing runs any more
    EXPECT_EQ(model->revision(), 3);
}

TEST_F(EngineRunsTest, cancellingReturnsThePillToIdleButClosesNothingElse) {
    model->runs().handOff(engine(u"email"_s), id);
    model->runs().cancelRun(id, u"email"_s);
    EXPECT_THAT(states(), ElementsAre(id + "/email running")) << "the run cleans up itself";
    runsOf(u"Email"_s).at(0)->answer(std::unexpected(cancelled));
    EXPECT_EQ(mode(), PillMode(pill::Idle{}));

    model->runs().handOff(engine(u"email"_s), id);
    model->asks().openAsk();
    runsOf(u"Email"_s).at(1)->answer(std::unexpected(cancelled));
    EXPECT_EQ(mode(), PillMode(pill::Ask{}));
}

TEST_F(EngineRunsTest, aFailedPairCanRunAgain) {
    model->runs().handOff(engine(u"email"_s), id);
    runsOf(u"Email"_s).at(0)->answer(std::unexpected(failed));
    auto again = model->runs().runEngine(engine(u"email"_s), id, std::nullopt, false);
    EXPECT_THAT(states(), ElementsAre(id + "/email running"));
    runsOf(u"Email"_s).at(1)->answer(u"text"_s);
    EXPECT_EQ(test::wait(std::move(again)), u"text"_s);
}

TEST_F(EngineRunsTest, finishedWaitsForEveryRunAndNaming) {
    const CaptureRecord unnamed = makeCapture(u"Meeting"_s);
    model->runs().handOff(engine(u"email"_s), unnamed.id());
    bool done = false;
    auto waiting = model->finished();
    waiting.then([&done] { done = true; });
    runsOf(u"Email"_s).at(0)->answer(u"text"_s);
    test::processEvents();
    EXPECT_FALSE(done) << "the naming is still under way";
    namings().at(0)->answer(u"Weekly Sync"_s);
    EXPECT_TRUE(test::eventually([&done] { return done; }));
    test::wait(model->finished());
}

TEST_F(EngineRunsTest, aRunOutlivesTheModelWithoutHarm) {
    auto run = model->runs().runEngine(engine(u"email"_s), id, std::nullopt, false);
    model->runs().handOff(engine(u"content"_s), id);
    model.reset();
    for (const auto& call : agent.calls) {
        call->answer(u"late"_s);
    }
    EXPECT_FALSE(test::wait(std::move(run)).has_value());
    EXPECT_EQ(handoff(record, u"email"_s), "");
}

TEST_F(EngineRunsTest, contentIsAimedAtAnIdea) {
    const DailyIdea first{u"Hook"_s, u"Angle"_s, id};
    const DailyIdea second{u"Other"_s, u"Angle"_s, id};
    model->runs().makeIdea(first, {first, second});
    EXPECT_TRUE(
        runsOf(u"Content"_s)
            .at(0)
            ->request.context.endsWith(u"\n\n## FOCUS\nBuild everything around this idea: Hook — Angle"));
    EXPECT_THAT(inbox(), ElementsAre(u"ideas"_s));
    EXPECT_EQ(model->pill().inbox().first(), InboxItem(pill::Ideas{{second}}));
    runsOf(u"Content"_s).at(0)->answer(u"text"_s);
    model->runs().makeIdea(second, {second});
    EXPECT_FALSE(inbox().contains(u"ideas"_s)) << "the last idea leaves no list behind";
}

TEST_F(EngineRunsTest, contentFromAnAnswerNeedsACaptureAmongItsSources) {
    AskAnswer answer{
        u"Why?"_s, u"Because."_s, {{u"Dana"_s, {SidebarItem::Kind::person, u"dana"_s}}}, u"t"_s, {}};
    model->makeContent(answer);
    EXPECT_TRUE(agent.calls.empty());
    answer.sources.append({u"Weekly"_s, SidebarItem::capture(id)});
    model->pill().addToInbox(pill::Answer{answer});
    model->makeContent(answer);
    EXPECT_TRUE(runsOf(u"Content"_s).at(0)->request.context.endsWith(u"Why? — Because."));
    EXPECT_THAT(inbox(), ElementsAre());
}

}  // namespace

}  // namespace lumbro
