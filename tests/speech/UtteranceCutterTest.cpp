#include "LumbroCore/Literals.h"
#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/UtteranceCutter.h"
#include "tests/speech/SpeechData.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace lumbro::speech {
namespace {

/// Hears speech where the samples are not zero.
class LoudDetector final : public VoiceDetector {
  public:
    int windowSize() const override { return 160; }
    bool isSpeech(std::span<const float> window) override { return window.front() != 0; }
};

struct Utterance {
    double start = 0;
    double end = 0;
    std::vector<float> samples;
};

std::vector<Utterance> cut(UtteranceCutter& cutter, const std::vector<float>& samples, size_t chunk) {
    std::vector<UtterancePiece> pieces;
    for (size_t at = 0; at < samples.size(); at += chunk) {
        cutter.feed(std::span(samples).subspan(at, std::min(chunk, samples.size() - at)), pieces);
    }
    cutter.finish(pieces);
    std::vector<Utterance> utterances;
    for (const auto& piece : pieces) {
        if (piece.kind == UtterancePiece::Kind::begin) {
            utterances.push_back({piece.start, 0, {}});
        }
        auto& last = utterances.back();
        last.samples.insert(last.samples.end(), piece.samples.begin(), piece.samples.end());
        last.end = piece.start;
    }
    return utterances;
}

/// Silence and speech by turns, in seconds; each sample of speech is its own number.
std::vector<float> pattern(const std::vector<double>& seconds) {
    std::vector<float> samples;
    bool isSpeech = false;
    for (const double length : seconds) {
        const auto count = static_cast<size_t>(std::lround(length * sampleRate));
        for (size_t i = 0; i < count; ++i) {
            samples.push_back(isSpeech ? float(samples.size()) : 0.F);
        }
        isSpeech = !isSpeech;
    }
    return samples;
}

std::vector<Utterance> cutLoud(const std::vector<double>& seconds, size_t chunk = 777) {
    UtteranceCutter cutter(std::make_unique<LoudDetector>());
    return cut(cutter, pattern(seconds), chunk);
}

TEST(UtteranceCutterTest, anUtteranceHasItsPreRollAndEndsAfterThePause) {
    const auto utterances = cutLoud({1, 2, 3});
    ASSERT_EQ(utterances.size(), 1U);
    EXPECT_NEAR(utterances[0].start, 0.7, 0.011);
    EXPECT_NEAR(utterances[0].end, 3.5, 0.011);
    EXPECT_NEAR(double(utterances[0].samples.size()) / sampleRate, 2.8, 0.02);
}

TEST(UtteranceCutterTest, clicksDoNotOpenAndShortPausesDoNotClose) {
    EXPECT_TRUE(cutLoud({1, 0.03, 1, 0.03, 1}).empty());
    EXPECT_EQ(cutLoud({1, 1, 0.4, 1, 1}).size(), 1U);
    EXPECT_EQ(cutLoud({1, 1, 0.6, 1, 1}).size(), 2U);
}

TEST(UtteranceCutterTest, longSpeechIsCutWithoutLossOrRepetition) {
    const auto utterances = cutLoud({1, 50, 1});
    ASSERT_EQ(utterances.size(), 3U);
    float next = float(sampleRate);
    for (const auto& utterance : utterances) {
        EXPECT_LE(utterance.samples.size(), 20U * sampleRate + 160);
        for (const float sample : utterance.samples) {
            if (sample != 0) {
                ASSERT_EQ(sample, next);
                ++next;
            }
        }
    }
    EXPECT_EQ(next, 51.F * sampleRate);
    // A breath is taken where one is to be had.
    EXPECT_NEAR(cutLoud({1, 17, 0.25, 10, 1})[0].end, 18.2, 0.02);
}

TEST(UtteranceCutterTest, whatIsOpenAtTheEndIsClosedWithItsLastSample) {
    const auto utterances = cutLoud({0, 1.003});
    ASSERT_EQ(utterances.size(), 1U);
    EXPECT_EQ(utterances[0].samples.back(), pattern({0, 1.003}).back());
}

TEST(WebRtcVoiceDetectorTest, silenceHumAndNoiseNeverOpenAnUtterance) {
    std::mt19937 random(1);
    std::normal_distribution<float> faint(0, 0.0005F);
    std::vector<float> zeros(10 * sampleRate);
    std::vector<float> noise(10 * sampleRate);
    std::ranges::generate(noise, [&] { return faint(random); });
    for (const auto& samples : {zeros, noise}) {
        UtteranceCutter cutter(std::make_unique<WebRtcVoiceDetector>());
        EXPECT_TRUE(cut(cutter, samples, 320).empty());
    }
}

TEST(WebRtcVoiceDetectorTest, aTalkerIsFoundAfterDigitalSilence) {
    auto samples = test::readLibrivox(u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
    if (samples.empty()) {
        GTEST_SKIP() << "the package pocketsphinx-testdata is not installed";
    }
    samples.insert(samples.begin(), 3 * sampleRate, 0.F);
    samples.insert(samples.end(), 2 * sampleRate, 0.F);
    UtteranceCutter cutter(std::make_unique<WebRtcVoiceDetector>());
    const auto utterances = cut(cutter, samples, 320);
    ASSERT_FALSE(utterances.empty());
    EXPECT_GT(utterances.front().start, 2.6);
    EXPECT_LT(utterances.front().start, 3.6);
}

}  // namespace
}  // namespace lumbro::speech
