#include "LumbroCore/Literals.h"
#include "LumbroSpeech/RecognitionWorker.h"
#include "tests/support/Wait.h"

#include <atomic>

#include <gtest/gtest.h>

namespace lumbro::speech {
namespace {

/// Hears speech where the samples are not zero.
class LoudDetector final : public VoiceDetector {
  public:
    int windowSize() const override { return 160; }
    bool isSpeech(std::span<const float> window) override { return window.front() != 0; }
};

/// Takes for an utterance as long as the test lets it, as a big model does.
class SlowDecoder final : public UtteranceDecoder {
  public:
    explicit SlowDecoder(std::atomic<bool>& mayEnd) : m_mayEnd(mayEnd) {}

    void begin() override {}
    void add(std::span<const float> /*samples*/) override {}
    bool isGuessDue(Moment /*now*/) const override { return false; }
    QString guess(Moment /*now*/) override { return {}; }
    std::optional<QString> finish() override {
        while (!m_mayEnd && !shouldAbort()) {
            std::this_thread::yield();
        }
        return u"at last"_s;
    }

  private:
    std::atomic<bool>& m_mayEnd;
};

std::shared_ptr<RecognitionStream> open(RecognitionWorker& worker, std::atomic<bool>& mayEnd,
                                        QStringList& finals) {
    RecognitionEvents events;
    events.onResult = [&finals](const RecognitionResult& result) { finals += result.text; };
    return worker.openStream(std::make_unique<UtteranceCutter>(std::make_unique<LoudDetector>()),
                             std::make_unique<SlowDecoder>(mayEnd), {}, std::move(events));
}

TEST(RecognitionWorker, whatIsBeingLookedAtIsUnheardAndTheWorkShowsOnAllStreams) {
    std::atomic<bool> mayEnd = false;
    QStringList finals;
    const auto worker = std::make_shared<RecognitionWorker>();
    const auto busy = open(*worker, mayEnd, finals);
    const auto waiting = open(*worker, mayEnd, finals);
    busy->feed(std::vector<float>(sampleRate, 0.5F));
    busy->finish();
    ASSERT_TRUE(test::eventually([&] { return busy->backlog() == 0; }));
    waiting->feed(std::vector<float>(sampleRate, 0.5F));
    waiting->finish();
    EXPECT_NEAR(busy->unheard(), 1, 0.01) << "looked at, and no words yet";
    EXPECT_EQ(waiting->unheard(), 1);
    const quint64 before = waiting->activity();
    EXPECT_TRUE(test::eventually([&] { return waiting->activity() > before; }))
        << "the other one is worked on";
    EXPECT_TRUE(finals.isEmpty());
    mayEnd = true;
    ASSERT_TRUE(test::eventually([&] { return finals.size() == 2; }));
    EXPECT_EQ(busy->unheard(), 0);
    EXPECT_EQ(waiting->unheard(), 0);
}

}  // namespace
}  // namespace lumbro::speech
