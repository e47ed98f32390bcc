#include "LumbroCore/Literals.h"
#include "recording/transcription/LiveTranscriber.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"
#include "tests/transcription/FakeRecognizer.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::FakeRecognizer;
using test::FakeStreamState;

class LiveTranscriberTest : public testing::Test {
  public:
    LiveTranscriberTest() { connect(); }

    void connect() {
        transcriber->onFinal = [this](const TranscriptSegment& segment) { finals.append(segment); };
        transcriber->onVolatile = [this](const QString& text) { volatiles.append(text); };
        transcriber->onGaveUp = [this](const QString& text) { gaveUp.append(text); };
    }

    Result<> start(FedAudio audio = FedAudio::heardOnce) {
        transcriber->open(audio);
        return test::wait(transcriber->start(recognizer, u"en-US"_s));
    }

    void feed(double seconds, float level) {
        const std::vector<float> second(speech::sampleRate);
        for (; seconds >= 1; seconds -= 1) {
            transcriber->feed(second, level);
        }
        transcriber->feed(std::span(second).first(size_t(seconds * speech::sampleRate)), level);
    }

    FakeStreamState& stream(size_t index) { return *recognizer->streams.at(index); }

    QStringList finalTexts() const {
        QStringList texts;
        for (const auto& segment : finals) {
            texts.append(segment.text);
        }
        return texts;
    }

    test::TestClock clock;
    std::shared_ptr<FakeRecognizer> recognizer = std::make_shared<FakeRecognizer>();
    std::unique_ptr<LiveTranscriber> transcriber = std::make_unique<LiveTranscriber>(Speaker::me, clock);
    TranscriptSegments finals;
    QStringList volatiles;
    QStringList gaveUp;
};

TEST_F(LiveTranscriberTest, whatIsFedBeforeTheLaunchReachesTheFirstStream) {
    recognizer->loading = &clock;
    transcriber->open();
    feed(2, 0);
    auto starting = transcriber->start(recognizer, u"en-US"_s);
    feed(1.5, 0);
    EXPECT_DOUBLE_EQ(transcriber->backlog(), 3.5);
    clock.advance(1s);
    EXPECT_TRUE(test::wait(std::move(starting)));
    EXPECT_EQ(stream(0).samples, 3.5 * speech::sampleRate);
    stream(0).say(u" hello there \n"_s, 0.5, true);
    ASSERT_EQ(finals.size(), 1);
    EXPECT_EQ(finals[0].text, u"hello there"_s);
    EXPECT_EQ(finals[0].start, 0.5);
    EXPECT_EQ(finals[0].speaker, Speaker::me);
}

TEST_F(LiveTranscriberTest, aFirstLaunchThatFailsIsToldAndLeavesItQuiet) {
    recognizer->failuresToCome = 1;
    const auto started = start();
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().message, u"no model"_s);
    feed(100, 1);
    clock.advance(60s);
    EXPECT_EQ(recognizer->opens, 1);
    EXPECT_EQ(transcriber->backlog(), 0);
    test::wait(transcriber->finish());
}

TEST_F(LiveTranscriberTest, volatileAndFinalResultsFollowTheirRules) {
    ASSERT_TRUE(start());
    stream(0).say(u"hel"_s, 0, false);
    stream(0).say(u"hello"_s, 0, true);
    stream(0).say(u""_s, 2, true);
    stream(0).say(u"again"_s, std::nan(""), true);
    EXPECT_EQ(volatiles, QStringList({u"hel"_s, u""_s, u""_s, u""_s}));
    EXPECT_EQ(finalTexts(), QStringList({u"hello"_s, u"again"_s}));
    EXPECT_EQ(finals[1].start, 0);
}

TEST_F(LiveTranscriberTest, stallsAreSeenByLoudSecondsOnly) {
    struct Row {
        const char* what;
        std::function<void(LiveTranscriberTest&)> happens;
        int opens;
    };
    const std::vector<Row> rows = {
        {"quiet for ten minutes", [](auto& t) { t.feed(600, 0.39F); }, 1},
        {"45 loud seconds", [](auto& t) { t.feed(45, 0.4F); }, 2},
        {"a little less", [](auto& t) { t.feed(44.9, 1); }, 1},
        {"a result in between",
         [](auto& t) {
             t.feed(40, 1);
             t.stream(0).say(u""_s, 0, false);
             t.feed(40, 1);
         },
         1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        recognizer = std::make_shared<FakeRecognizer>();
        transcriber = std::make_unique<LiveTranscriber>(Speaker::them, clock);
        connect();
        ASSERT_TRUE(start());
        row.happens(*this);
        clock.advance(9s);
        EXPECT_EQ(recognizer->opens, 1) << "checked only every 10 s";
        clock.advance(1s);
        EXPECT_EQ(recognizer->opens, row.opens);
    }
}

TEST_F(LiveTranscriberTest, stallsMayBeRecoveredFromForever) {
    ASSERT_TRUE(start());
    for (int i = 0; i < 12; ++i) {
        feed(50, 1);
        clock.advance(10s);
    }
    EXPECT_EQ(recognizer->opens, 13);
    EXPECT_TRUE(gaveUp.isEmpty());
}

TEST_F(LiveTranscriberTest, aRestartKeepsTheTimeBaseAndTheWordsOnScreen) {
    ASSERT_TRUE(start());
    feed(120.4, 0);
    stream(0).say(u"half a sen"_s, 119, false);
    stream(0).end();
    ASSERT_EQ(recognizer->streams.size(), 2U);
    EXPECT_TRUE(stream(0).isGone);
    EXPECT_EQ(finalTexts(), QStringList(u"half a sen"_s));
    EXPECT_EQ(finals[0].start, 119);
    EXPECT_EQ(volatiles.last(), QString());
    // The old stream has nothing to say any more.
    stream(0).say(u"late"_s, 1, true);
    stream(1).say(u"new"_s, 3, true);
    ASSERT_EQ(finalTexts(), QStringList({u"half a sen"_s, u"new"_s}));
    EXPECT_NEAR(finals[1].start, 123.4, 1e-6);
    feed(1, 0);
    EXPECT_EQ(stream(1).samples, size_t(speech::sampleRate));
}

TEST_F(LiveTranscriberTest, aRecogniserThatFailsIsTriedFiveTimesWithGrowingWaits) {
    ASSERT_TRUE(start());
    QList<qint64> tries;
    const auto began = clock.elapsed();
    recognizer->onOpen = [&] { tries.append((clock.elapsed() - began) / 1s); };
    recognizer->failuresToCome = 100;
    stream(0).end(fail(u"broken"_s));
    clock.advance(60s);
    EXPECT_EQ(tries, QList<qint64>({0, 1, 3, 6, 10}));
    EXPECT_EQ(gaveUp, QStringList(u"Live transcript stopped. Audio is still recording."_s));
    // The hours that may follow are not kept for anybody.
    feed(100, 1);
    clock.advance(60s);
    EXPECT_EQ(transcriber->backlog(), 0);
    EXPECT_EQ(recognizer->opens, 6);
    test::wait(transcriber->finish());
}

TEST_F(LiveTranscriberTest, aStreamThatKeepsEndingWithoutAWordIsGivenUpOnAfterFiveRestarts) {
    ASSERT_TRUE(start());
    for (size_t i = 0; i < 5; ++i) {
        stream(i).end();
    }
    EXPECT_TRUE(gaveUp.isEmpty());
    stream(5).end();
    EXPECT_EQ(gaveUp.size(), 1);
    EXPECT_EQ(recognizer->opens, 6);
}

TEST_F(LiveTranscriberTest, anyResultForgivesEarlierFailures) {
    ASSERT_TRUE(start());
    for (size_t i = 0; i < 12; ++i) {
        stream(i).say(u""_s, 0, true);
        stream(i).end();
    }
    EXPECT_TRUE(gaveUp.isEmpty());
    EXPECT_EQ(recognizer->opens, 13);
}

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

TEST_F(LiveTranscriberTest, aFilesWordsAreHeardAgainByTheNextRecogniser) {
    ASSERT_TRUE(start(FedAudio::keptForReplay));
    feed(10, 0);
    stream(0).say(u"one"_s, 2, true);
    stream(0).say(u"two"_s, 7, false);
    stream(0).end(fail(u"broken"_s));
    ASSERT_EQ(recognizer->streams.size(), 2U);
    // From a little before the last final, which comes once more and is dropped.
    EXPECT_NEAR(double(stream(1).samples) / speech::sampleRate, 8.3, 0.001);
    stream(1).say(u"one"_s, 0.4, true);
    EXPECT_EQ(volatiles.last(), u"two"_s) << "it is on the screen until it is said again";
    stream(1).say(u"two three"_s, 5.3, true);
    EXPECT_EQ(finalTexts(), QStringList({u"one"_s, u"two three"_s}));
    EXPECT_NEAR(finals[1].start, 7, 0.001);
    stream(1).say(u"four"_s, 5.9, true);
    EXPECT_EQ(finals.size(), 3);
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

TEST_F(LiveTranscriberTest, aPieceOfAFileThatAlwaysEndsTheRecogniserIsPassedOver) {
    ASSERT_TRUE(start(FedAudio::keptForReplay));
    feed(10, 0);
    for (size_t i = 0; i < 4; ++i) {
        ASSERT_EQ(recognizer->streams.size(), i + 1);
        stream(i).backlog = 4;
        stream(i).say(u"half a sen"_s, 1, false);
        stream(i).end(fail(u"broken"_s));
    }
    EXPECT_EQ(finalTexts(), QStringList(u"half a sen"_s));
    EXPECT_EQ(stream(3).samples, 10U * speech::sampleRate);
    EXPECT_EQ(stream(4).samples, 4U * speech::sampleRate);
    stream(4).say(u"next"_s, 1, true);
    EXPECT_EQ(finals.last().start, 7);
    // Long silence is not kept for ever.
    stream(4).backlog = 0;
    feed(1000, 0);
    stream(4).end(fail(u"broken"_s));
    EXPECT_EQ(stream(5).samples, 60U * speech::sampleRate);
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
