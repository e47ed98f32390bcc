#include "recording/audio/TrackPipeline.h"
#include "tests/audio/Tones.h"
#include "tests/support/ScratchFolder.h"

#include <QFile>

#include <atomic>
#include <csignal>
#include <limits>
#include <thread>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lumbro;
using test::amplitudeOf;
using test::tone;

namespace {

/// Hands samples over in pieces of `frames`, as a device does.
void feed(TrackPipeline& pipeline, std::span<const float> samples, AudioFormat format, size_t frames = 1024) {
    const size_t piece = frames * static_cast<size_t>(format.channels);
    for (size_t at = 0; at < samples.size(); at += piece) {
        pipeline.ingest({format, samples.subspan(at, std::min(piece, samples.size() - at))});
    }
}

}  // namespace

TEST(TrackPipeline, turnsEveryFormatIntoSixteenKilohertzMono) {
    const std::vector<AudioFormat> formats = {{48000, 2}, {44100, 1}, {16000, 1}, {8000, 1},
                                              {96000, 6}, {22050, 2}, {16000, 3}};
    const test::ScratchFolder folder;
    for (const AudioFormat& format : formats) {
        SCOPED_TRACE(testing::Message() << format.rate << " Hz, " << format.channels << " channels");
        const QString file = folder.path(u"me.caf"_s);
        std::vector<float> heard;
        TrackPipeline pipeline(
            file,
            [&](std::span<const float> work, float) { heard.insert(heard.end(), work.begin(), work.end()); },
            {});
        feed(pipeline, tone(440, 2, format.rate, format.channels), format);
        pipeline.close();

        const std::vector<float> written = test::trackSamples(file);
        EXPECT_NEAR(double(written.size()), 32000, 2);
        EXPECT_NEAR(amplitudeOf(440, std::span(written).subspan(4000, 16000)), 0.3, 0.01);
        ASSERT_GT(heard.size(), 20000U);
        for (size_t i = 0; i < heard.size(); i += 997) {
            EXPECT_NEAR(heard[i], written[i], 1e-4);
        }
    }
}

TEST(TrackPipeline, aChangeOfFormatLeavesNoGap) {
    const test::ScratchFolder folder;
    TrackPipeline pipeline(folder.path(u"me.caf"_s), {}, {});
    feed(pipeline, tone(440, 1, 48000, 2), {48000, 2});
    feed(pipeline, tone(440, 1, 44100, 1), {44100, 1});
    pipeline.ingest({{0, 0}, {}});
    const std::vector<float> odd(300);
    pipeline.ingest({{5, 1}, odd});
    feed(pipeline, tone(440, 1, 16000, 1), {16000, 1});
    EXPECT_NEAR(pipeline.secondsIngested(), 3, 0.1);
    pipeline.close();
    const std::vector<float> written = test::trackSamples(folder.path(u"me.caf"_s));
    EXPECT_NEAR(double(written.size()), 48000, 1600);
    EXPECT_GT(amplitudeOf(440, std::span(written).last(15000)), 0.28);
}

TEST(TrackPipeline, levelFollowsTheScaleOfTheMeter) {
    const std::vector<float> square = {1, -1, 1, -1};
    EXPECT_FLOAT_EQ(TrackPipeline::level(square), 1);
    EXPECT_FLOAT_EQ(TrackPipeline::level(std::vector<float>(400)), 0);
    EXPECT_FLOAT_EQ(TrackPipeline::level({}), 0);
    // -55, -32.5 and -10 dBFS, in lengths that do and do not fill the lanes.
    for (const size_t count : {1U, 15U, 16U, 37U, 320U}) {
        EXPECT_NEAR(TrackPipeline::level(std::vector<float>(count, std::pow(10.0F, -55.0F / 20))), 0, 1e-4);
        EXPECT_NEAR(TrackPipeline::level(std::vector<float>(count, std::pow(10.0F, -32.5F / 20))), 0.5, 1e-4);
        EXPECT_NEAR(TrackPipeline::level(std::vector<float>(count, std::pow(10.0F, -10.0F / 20))), 1, 1e-4);
    }
}

TEST(TrackPipeline, clipsAndOutlivesBrokenSamples) {
    const test::ScratchFolder folder;
    TrackPipeline pipeline(folder.path(u"me.caf"_s), {}, {});
    std::vector<float> loud = tone(100, 0.5, 48000, 1, 1.5F);
    loud[500] = std::numeric_limits<float>::quiet_NaN();
    loud[501] = std::numeric_limits<float>::infinity();
    feed(pipeline, loud, {48000, 1});
    feed(pipeline, tone(440, 1, 48000, 1), {48000, 1});
    pipeline.close();
    const std::vector<float> written = test::trackSamples(folder.path(u"me.caf"_s));
    // A sample that wrapped around would be far from its neighbour.
    for (size_t i = 400; i < 7800; ++i) {
        ASSERT_LT(std::abs(written[i] - written[i - 1]), 0.2F) << i;
    }
    EXPECT_GT(amplitudeOf(440, std::span(written).last(12000)), 0.28);
}

TEST(TrackPipeline, nothingChangesAfterClose) {
    const test::ScratchFolder folder;
    int calls = 0;
    TrackPipeline pipeline(folder.path(u"me.caf"_s), [&](auto, float) { ++calls; }, [&](float) { ++calls; });
    pipeline.close();
    feed(pipeline, tone(440, 1, 48000, 1), {48000, 1});
    EXPECT_FALSE(pipeline.receivedAudio());
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(test::trackSamples(folder.path(u"me.caf"_s)).empty());
    struct stat status{};
    ASSERT_EQ(stat(folder.path(u"me.caf"_s).toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(TrackPipeline, closingFromAnotherThreadCutsBetweenTwoBuffers) {
    const test::ScratchFolder folder;
    std::atomic<size_t> delivered = 0;
    TrackPipeline pipeline(folder.path(u"me.caf"_s),
                           [&](std::span<const float> work, float) { delivered += work.size(); }, {});
    std::atomic<bool> end = false;
    std::thread device([&] {
        const std::vector<float> piece = tone(440, 0.01, 16000, 1);
        while (!end) {
            pipeline.ingest({{16000, 1}, piece});
        }
    });
    while (pipeline.secondsIngested() < 5) {
        std::this_thread::yield();
    }
    pipeline.close();
    const size_t atClose = delivered;
    end = true;
    device.join();
    EXPECT_EQ(delivered, atClose);
    EXPECT_EQ(test::trackSamples(folder.path(u"me.caf"_s)).size(), atClose);
}

TEST(TrackPipeline, aFileThatCannotBeMadeOrGrowIsReportedOnce) {
    const test::ScratchFolder folder;
    QStringList sentences;
    size_t heard = 0;
    const auto listen = [&](std::span<const float> work, float) { heard += work.size(); };
    const auto failed = [&](const QString& sentence) { sentences.append(sentence); };
    {
        TrackPipeline lost(folder.path(u"missing/me.caf"_s), listen, {}, failed);
        feed(lost, tone(440, 1, 16000, 1), {16000, 1});
    }
    EXPECT_EQ(sentences, QStringList{u"Couldn't write me.caf: No such file or directory."_s});
    EXPECT_EQ(heard, 16000U);

    // The limit on a file's size stands for a full disk; its odd byte leaves half a sample behind.
    sentences.clear();
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{50001, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    TrackPipeline full(folder.path(u"me.caf"_s), listen, {}, failed);
    feed(full, tone(440, 3, 16000, 1), {16000, 1});
    setrlimit(RLIMIT_FSIZE, &old);
    feed(full, tone(440, 1, 16000, 1), {16000, 1});
    full.close();
    EXPECT_EQ(sentences.size(), 1);
    EXPECT_EQ(heard, 80000U);
    const std::vector<float> written = test::trackSamples(folder.path(u"me.caf"_s));
    ASSERT_GT(written.size(), 35000U);
    EXPECT_GT(amplitudeOf(440, std::span(written).first(16000)), 0.28);
    EXPECT_GT(amplitudeOf(440, std::span(written).last(15000)), 0.28);
}

TEST(TrackPipeline, aKilledRecordingKeepsAllButItsLastSecond) {
    const test::ScratchFolder folder;
    const QString file = folder.path(u"me.caf"_s);
    const std::vector<float> samples = tone(440, 4.3, 16000, 1);
    const pid_t child = fork();
    if (child == 0) {
        TrackPipeline pipeline(file, {}, {});
        feed(pipeline, samples, {16000, 1}, 320);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::vector<float> written = test::trackSamples(file);
    EXPECT_GE(written.size(), size_t(3.3 * 16000));
    EXPECT_GT(amplitudeOf(440, written), 0.28);
}
