#include "tests/transcription/LiveTranscriberFixture.h"

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::FakeRecognizer;
using test::LiveTranscriberTest;

TEST_F(LiveTranscriberTest, finishWhileWaitingForATryEndsTheTries) {
    ASSERT_TRUE(start());
    recognizer->failuresToCome = 2;
    stream(0).end();
    EXPECT_EQ(recognizer->opens, 2);
    test::wait(transcriber->finish());
    clock.advance(60s);
    EXPECT_EQ(recognizer->opens, 2);
    EXPECT_TRUE(gaveUp.isEmpty());
}

TEST_F(LiveTranscriberTest, finishTakesTheLastFinalsForTwoSeconds) {
    ASSERT_TRUE(start());
    auto finishing = transcriber->finish();
    EXPECT_TRUE(stream(0).isFinished);
    clock.advance(1900ms);
    stream(0).say(u"goodbye"_s, 1, true);
    EXPECT_FALSE(finishing.isReady());
    clock.advance(100ms);
    EXPECT_TRUE(finishing.isReady());
    stream(0).say(u"too late"_s, 2, true);
    EXPECT_EQ(finalTexts(), QStringList(u"goodbye"_s));
    EXPECT_TRUE(stream(0).isGone);
}

TEST_F(LiveTranscriberTest, finishEndsWithTheStream) {
    ASSERT_TRUE(start());
    auto finishing = transcriber->finish();
    stream(0).end();
    EXPECT_TRUE(finishing.isReady());
    EXPECT_EQ(recognizer->opens, 1) << "an end that was asked for is no failure";
}

TEST_F(LiveTranscriberTest, finishForAllFinalsWaitsAsLongAsThereIsProgress) {
    ASSERT_TRUE(start());
    stream(0).backlog = 600;
    auto finishing = transcriber->finish(FinishWait::allFinals);
    for (int i = 0; i < 30; ++i) {
        stream(0).backlog -= 10;
        clock.advance(30s);
    }
    EXPECT_FALSE(finishing.isReady());
    clock.advance(30s);
    EXPECT_FALSE(finishing.isReady());
    clock.advance(10s);
    EXPECT_TRUE(finishing.isReady()) << "a recogniser that stands still is left after a minute";
}

TEST_F(LiveTranscriberTest, aRecogniserAtWorkIsWaitedForWhateverItWorksOn) {
    ASSERT_TRUE(start());
    stream(0).backlog = 20;
    auto finishing = transcriber->finish(FinishWait::allFinals);
    // Minutes with the other track, or with one long utterance.
    for (int i = 0; i < 60; ++i) {
        ++stream(0).activity;
        clock.advance(10s);
    }
    ASSERT_FALSE(finishing.isReady());
    stream(0).backlog = 0;
    stream(0).say(u"at last"_s, 0, true);
    stream(0).end();
    EXPECT_TRUE(finishing.isReady());
    EXPECT_EQ(finalTexts(), QStringList(u"at last"_s));
    EXPECT_EQ(transcriber->lost(), 0);
}

TEST_F(LiveTranscriberTest, whatTheRecogniserDidNotComeToIsCounted) {
    struct Row {
        const char* what;
        std::function<void(LiveTranscriberTest&)> happens;
        double lost;
    };
    const auto finishLate = [](auto& t) {
        auto finishing = t.transcriber->finish();
        t.clock.advance(2s);
        EXPECT_TRUE(finishing.isReady());
    };
    const auto finishInTime = [](auto& t) {
        auto finishing = t.transcriber->finish();
        t.stream(t.recognizer->streams.size() - 1).end();
        EXPECT_TRUE(finishing.isReady());
    };
    const std::vector<Row> rows = {
        {"all of it", [&](auto& t) { finishInTime(t); }, 0},
        {"a backlog at the end",
         [&](auto& t) {
             t.stream(0).backlog = 4;
             t.stream(0).unsaid = 3;
             finishLate(t);
         },
         7},
        {"a backlog of silence",
         [&](auto& t) {
             t.feed(5, 0);
             t.stream(0).backlog = 5;
             finishLate(t);
         },
         0},
        {"a wait that was ended",
         [&](auto& t) {
             t.stream(0).backlog = 4;
             auto finishing = t.transcriber->finish(FinishWait::allFinals);
             t.transcriber->stopWaiting();
             EXPECT_TRUE(finishing.isReady());
         },
         4},
        {"a wait that was ended before it began",
         [&](auto& t) {
             t.stream(0).backlog = 4;
             t.transcriber->stopWaiting();
             EXPECT_TRUE(t.transcriber->finish(FinishWait::allFinals).isReady());
         },
         4},
        {"what waited for a recogniser that was opened anew",
         [&](auto& t) {
             t.stream(0).backlog = 3;
             t.stream(0).end(fail(u"broken"_s));
             finishInTime(t);
         },
         3},
        {"all since it was given up on",
         [&](auto& t) {
             t.recognizer->failuresToCome = 5;
             t.stream(0).end(fail(u"broken"_s));
             t.clock.advance(60s);
             t.feed(30, 0.1F);
             t.feed(10, 0);
             test::wait(t.transcriber->finish());
         },
         30},
        {"all where it could not be started",
         [&](auto& t) {
             t.recognizer->failuresToCome = 1;
             t.transcriber = std::make_unique<LiveTranscriber>(Speaker::me, t.clock);
             EXPECT_FALSE(t.start());
             t.feed(8, 0.1F);
             test::wait(t.transcriber->finish());
         },
         8},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        recognizer = std::make_shared<FakeRecognizer>();
        transcriber = std::make_unique<LiveTranscriber>(Speaker::me, clock);
        ASSERT_TRUE(start());
        feed(10, 1);
        row.happens(*this);
        EXPECT_DOUBLE_EQ(transcriber->lost(), row.lost);
        EXPECT_EQ(transcriber->unheard(), 0);
    }
}

TEST_F(LiveTranscriberTest, finishDuringTheLoadingOfTheModelLosesNoWord) {
    recognizer->loading = &clock;
    transcriber->open();
    feed(5, 1);
    auto starting = transcriber->start(recognizer, u"en-US"_s);
    auto finishing = transcriber->finish(FinishWait::allFinals);
    clock.advance(1s);
    ASSERT_EQ(recognizer->streams.size(), 1U);
    EXPECT_EQ(stream(0).samples, 5U * speech::sampleRate);
    EXPECT_TRUE(stream(0).isFinished);
    stream(0).say(u"all of it"_s, 0, true);
    stream(0).end();
    EXPECT_TRUE(finishing.isReady());
    EXPECT_EQ(finalTexts(), QStringList(u"all of it"_s));
}

TEST_F(LiveTranscriberTest, theEndOfAFileWaitsForTheTriesAndForABrokenDrain) {
    ASSERT_TRUE(start(FedAudio::keptForReplay));
    feed(10, 0);
    recognizer->failuresToCome = 1;
    stream(0).end(fail(u"broken"_s));
    EXPECT_EQ(recognizer->opens, 2);
    feed(2, 0);
    auto finishing = transcriber->finish(FinishWait::allFinals);
    EXPECT_FALSE(finishing.isReady());
    clock.advance(1s);
    ASSERT_EQ(recognizer->streams.size(), 2U);
    EXPECT_EQ(stream(1).samples, 12U * speech::sampleRate);
    EXPECT_TRUE(stream(1).isFinished);
    stream(1).end(fail(u"broken again"_s));
    ASSERT_EQ(recognizer->streams.size(), 3U);
    EXPECT_EQ(stream(2).samples, 12U * speech::sampleRate);
    EXPECT_TRUE(stream(2).isFinished);
    stream(2).say(u"all of it"_s, 0, true);
    EXPECT_FALSE(finishing.isReady());
    stream(2).end();
    EXPECT_TRUE(finishing.isReady());
    EXPECT_EQ(finalTexts(), QStringList(u"all of it"_s));
}

TEST_F(LiveTranscriberTest, itMayGoInTheMiddleOfEverything) {
    ASSERT_TRUE(start());
    recognizer->failuresToCome = 1;
    stream(0).end();
    auto finishing = transcriber->finish();
    transcriber.reset();
    clock.advance(60s);
    EXPECT_EQ(recognizer->opens, 2);

    recognizer->loading = &clock;
    transcriber = std::make_unique<LiveTranscriber>(Speaker::me, clock);
    transcriber->open();
    auto starting = transcriber->start(recognizer, u"en-US"_s);
    transcriber.reset();
    clock.advance(60s);
    EXPECT_FALSE(test::wait(std::move(starting)));
}

}  // namespace
}  // namespace lumbro
