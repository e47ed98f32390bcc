#pragma once

#include "LumbroCore/Literals.h"
#include "recording/transcription/LiveTranscriber.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"
#include "tests/transcription/FakeRecognizer.h"

#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>

namespace lumbro::test {

/// A transcriber of one track on a test clock, with a recogniser that the test plays.
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
        return wait(transcriber->start(recognizer, u"en-US"_s));
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

    TestClock clock;
    std::shared_ptr<FakeRecognizer> recognizer = std::make_shared<FakeRecognizer>();
    std::unique_ptr<LiveTranscriber> transcriber = std::make_unique<LiveTranscriber>(Speaker::me, clock);
    TranscriptSegments finals;
    QStringList volatiles;
    QStringList gaveUp;
};

}  // namespace lumbro::test
