#include "LumbroCore/Literals.h"
#include "LumbroSpeech/FallbackRecognizer.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "LumbroSpeech/SileroVoiceDetector.h"
#include "LumbroSpeech/WhisperRecognizer.h"
#include "tests/speech/SpeechData.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <thread>

#include <gtest/gtest.h>

namespace lumbro::speech {
namespace {

/// What one stream has said.
struct Heard {
    QStringList finals;
    std::vector<double> starts;
    int volatiles = 0;
    bool isEnded = false;
    bool hasFailed = false;

    RecognitionEvents events() {
        RecognitionEvents events;
        events.onResult = [this](const RecognitionResult& result) {
            EXPECT_FALSE(isEnded);
            if (result.isFinal) {
                finals.append(result.text);
                starts.push_back(result.start);
            } else {
                ++volatiles;
            }
        };
        events.onEnd = [this](const Result<>& outcome) {
            isEnded = true;
            hasFailed = !outcome;
        };
        return events;
    }
};

std::shared_ptr<RecognitionStream> openOn(Recognizer& recognizer, Heard& heard) {
    const auto opened = test::wait(recognizer.open(heard.events()));
    EXPECT_TRUE(opened) << qPrintable(opened ? QString() : opened.error().message);
    return opened ? opened->stream : nullptr;
}

void feed(RecognitionStream& stream, const std::vector<float>& samples) {
    constexpr size_t chunk = 320;
    for (size_t at = 0; at < samples.size(); at += chunk) {
        stream.feed(std::span(samples).subspan(at, std::min(chunk, samples.size() - at)));
    }
}

const QString librivoxWords = u"he was not an ill disposed young man"_s;

class PocketsphinxTest : public testing::Test {
  public:
    void SetUp() override {
        if (!PocketsphinxRecognizer::isInstalled()) {
            GTEST_SKIP() << "the package pocketsphinx-en-us is not installed";
        }
        samples = test::readLibrivox(u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
        if (samples.empty()) {
            GTEST_SKIP() << "the package pocketsphinx-testdata is not installed";
        }
        samples.resize(samples.size() + sampleRate);
    }

    std::vector<float> samples;
};

TEST_F(PocketsphinxTest, twoTracksAreHeardAtOnceAndEndAfterTheirLastFinal) {
    PocketsphinxRecognizer recognizer;
    Heard me;
    Heard them;
    const auto mine = openOn(recognizer, me);
    const auto theirs = openOn(recognizer, them);
    // Digital silence first: it must neither open an utterance nor spoil the one that follows.
    feed(*mine, std::vector<float>(2 * sampleRate));
    std::thread audio([&] { feed(*mine, samples); });
    feed(*theirs, samples);
    audio.join();
    EXPECT_GT(mine->backlog(), 0);
    mine->finish();
    theirs->finish();
    ASSERT_TRUE(test::eventually([&] { return me.isEnded && them.isEnded; }));
    EXPECT_EQ(mine->backlog(), 0);
    for (const Heard& heard : {me, them}) {
        EXPECT_FALSE(heard.hasFailed);
        EXPECT_LE(test::wordErrors(librivoxWords, heard.finals.join(u' ')).errors, 4)
            << qPrintable(heard.finals.join(u' '));
    }
    ASSERT_FALSE(me.starts.empty());
    EXPECT_NEAR(me.starts.front(), 2 + them.starts.front(), 0.1);
}

TEST_F(PocketsphinxTest, aCallOfTwoIsHeardWithFewEnoughErrors) {
    const QByteArray timings = readFile(test::speechData(u"call_timings.json"_s)).value_or(QByteArray());
    if (timings.isEmpty()) {
        GTEST_SKIP() << "the speech evaluation set is not on this machine";
    }
    PocketsphinxRecognizer recognizer;
    test::WordErrors sum;
    for (const QString& speaker : {u"me"_s, u"them"_s}) {
        QStringList reference;
        for (const auto& clip : QJsonDocument::fromJson(timings).array()) {
            if (clip[u"speaker"].toString() == speaker) {
                reference.append(clip[u"text"].toString());
            }
        }
        Heard heard;
        const auto stream = openOn(recognizer, heard);
        feed(*stream, test::readWav(test::speechData(u"call_%1.wav"_s.arg(speaker))));
        stream->finish();
        ASSERT_TRUE(test::eventually([&] { return heard.isEnded; }));
        const auto errors = test::wordErrors(reference.join(u' '), heard.finals.join(u' '));
        sum.errors += errors.errors;
        sum.words += errors.words;
    }
    EXPECT_GT(sum.words, 50);
    EXPECT_LT(sum.rate(), 0.33);
}

TEST_F(PocketsphinxTest, theFirstUtteranceOfEveryStreamIsHeardLikeLaterOnes) {
    const QByteArray table = readFile(test::speechData(u"transcripts.tsv"_s)).value_or(QByteArray());
    if (table.isEmpty()) {
        GTEST_SKIP() << "the speech evaluation set is not on this machine";
    }
    PocketsphinxRecognizer recognizer;
    test::WordErrors sum;
    for (const QByteArray& line : table.split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() != 2 || !QList<QByteArray>{"lj_0001", "lj_0004", "lj_0007"}.contains(fields[0])) {
            continue;
        }
        Heard heard;
        const auto stream = openOn(recognizer, heard);
        feed(*stream, test::readWav(test::speechData(QString::fromUtf8(fields[0]) + u".wav"_s)));
        stream->finish();
        ASSERT_TRUE(test::eventually([&] { return heard.isEnded; }));
        EXPECT_FALSE(heard.finals.join(QString()).isEmpty()) << fields[0].constData();
        const auto errors = test::wordErrors(QString::fromUtf8(fields[1]), heard.finals.join(u' '));
        sum.errors += errors.errors;
        sum.words += errors.words;
    }
    EXPECT_GT(sum.words, 40);
    EXPECT_LT(sum.rate(), 0.33);
}

TEST_F(PocketsphinxTest, aStreamMayGoWhileItIsHeard) {
    PocketsphinxRecognizer recognizer;
    Heard gone;
    Heard kept;
    auto first = openOn(recognizer, gone);
    const auto second = openOn(recognizer, kept);
    // Half an utterance: only an open one is guessed at.
    feed(*first, std::vector<float>(samples.begin(), samples.begin() + 2 * sampleRate));
    feed(*second, samples);
    ASSERT_TRUE(test::eventually([&] { return gone.volatiles > 0; }));
    first.reset();
    const int before = gone.volatiles;
    second->finish();
    ASSERT_TRUE(test::eventually([&] { return kept.isEnded; }));
    EXPECT_EQ(gone.volatiles, before);
    EXPECT_TRUE(gone.finals.isEmpty());
    EXPECT_FALSE(kept.finals.isEmpty());
}

TEST_F(PocketsphinxTest, theRecogniserMayGoBeforeItsStream) {
    auto recognizer = std::make_unique<PocketsphinxRecognizer>();
    Heard heard;
    const auto stream = openOn(*recognizer, heard);
    recognizer.reset();
    feed(*stream, samples);
    stream->finish();
    ASSERT_TRUE(test::eventually([&] { return heard.isEnded; }));
    EXPECT_FALSE(heard.finals.isEmpty());
}

TEST_F(PocketsphinxTest, theModelGoesSomeTimeAfterTheLastStreamAndComesBackWithTheNext) {
    PocketsphinxRecognizer recognizer(PocketsphinxRecognizer::defaultModelPath(),
                                      std::chrono::milliseconds(500));
    recognizer.readAhead();
    EXPECT_FALSE(recognizer.isLoaded()) << "reading ahead loads nothing";
    for (int round = 0; round < 2; ++round) {
        Heard heard;
        const auto stream = openOn(recognizer, heard);
        EXPECT_TRUE(recognizer.isLoaded());
        feed(*stream, samples);
        stream->finish();
        ASSERT_TRUE(test::eventually([&] { return heard.isEnded; }));
        EXPECT_LE(test::wordErrors(librivoxWords, heard.finals.join(u' ')).errors, 4);
        ASSERT_TRUE(test::eventually([&] { return !recognizer.isLoaded(); }));
    }
}

TEST(PocketsphinxModelTest, aMissingModelNamesThePackageAndAnotherRecogniserStandsIn) {
    const test::ScratchFolder folder;
    PocketsphinxRecognizer recognizer(folder.path());
    const auto opened = test::wait(recognizer.open({}));
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().message.contains(u"pocketsphinx-en-us"_s));
    int made = 0;
    FallbackRecognizer fallback(std::make_shared<PocketsphinxRecognizer>(folder.path()), [&] {
        ++made;
        return std::make_shared<PocketsphinxRecognizer>(folder.path());
    });
    EXPECT_FALSE(test::wait(fallback.open({})));
    EXPECT_FALSE(test::wait(fallback.warm()));
    EXPECT_EQ(made, 1);
}

class WhisperTest : public testing::Test {
  public:
    void SetUp() override {
        options.modelPath = test::testModel(u"for-tests-ggml-tiny.en.bin"_s);
        options.threads = 1;
        if (options.modelPath.isEmpty() || !WhisperRecognizer::isAvailable()) {
            GTEST_SKIP() << "the whisper test model is not on this machine, or the build has no whisper";
        }
        samples = test::readLibrivox(u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
    }

    WhisperOptions options;
    std::vector<float> samples;
};

TEST_F(WhisperTest, aModelLoadsRunsAndEnds) {
    WhisperRecognizer recognizer(options, std::chrono::milliseconds(50));
    EXPECT_TRUE(test::wait(recognizer.warm(2)));
    Heard heard;
    const auto stream = openOn(recognizer, heard);
    feed(*stream, samples);
    stream->finish();
    ASSERT_TRUE(test::eventually([&] { return heard.isEnded; }, std::chrono::minutes(3)));
    EXPECT_TRUE(test::eventually([&] { return !recognizer.isLoaded(); }));
    EXPECT_FALSE(heard.hasFailed);
    // The test model has no weights and so no words.
    EXPECT_TRUE(heard.finals.join(QString()).isEmpty());
}

TEST_F(WhisperTest, aRunIsAbortedWhenItsStreamGoes) {
    Heard heard;
    {
        WhisperRecognizer recognizer(options);
        auto stream = openOn(recognizer, heard);
        for (int i = 0; i < 5; ++i) {
            feed(*stream, samples);
        }
        stream->finish();
        stream.reset();
    }
    EXPECT_FALSE(heard.isEnded);
}

TEST_F(WhisperTest, brokenModelsFailWithASentence) {
    const test::ScratchFolder folder;
    folder.write(u"broken.bin"_s, readFile(options.modelPath).value_or(QByteArray()).first(100000));
    for (const QString& name : {u"broken.bin"_s, u"absent.bin"_s}) {
        options.modelPath = folder.path(name);
        WhisperRecognizer recognizer(options);
        const auto opened = test::wait(recognizer.open({}));
        ASSERT_FALSE(opened);
        EXPECT_TRUE(opened.error().message.contains(name)) << qPrintable(opened.error().message);
    }
}

#ifdef LUMBRO_HAS_WHISPER
TEST(SileroVoiceDetectorTest, speechIsToldFromSilence) {
    auto detector = SileroVoiceDetector::load(test::testModel(u"for-tests-silero-v6.2.0-ggml.bin"_s));
    const auto samples = test::readLibrivox(u"sense_and_sensibility_01_austen_64kb-0880.wav"_s);
    if (!detector || samples.empty()) {
        GTEST_SKIP() << "the voice detector's test model or the package pocketsphinx-testdata is not here";
    }
    const auto speechShare = [&](const std::vector<float>& audio) {
        const auto size = static_cast<size_t>(detector->windowSize());
        int speech = 0;
        int windows = 0;
        for (size_t at = 0; at + size <= audio.size(); at += size, ++windows) {
            speech += detector->isSpeech(std::span(audio).subspan(at, size)) ? 1 : 0;
        }
        return double(speech) / windows;
    };
    EXPECT_EQ(speechShare(std::vector<float>(2 * sampleRate)), 0);
    EXPECT_GT(speechShare(samples), 0.5);
    EXPECT_EQ(SileroVoiceDetector::load(QStringLiteral(LUMBRO_SOURCE_DIR "/CMakeLists.txt")), nullptr);
}
#endif

}  // namespace
}  // namespace lumbro::speech
