#include "tests/transcription/LiveTranscriberFixture.h"

namespace lumbro {
namespace {

using namespace std::chrono_literals;
using test::FakeRecognizer;
using test::LiveTranscriberTest;

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

}  // namespace
}  // namespace lumbro
