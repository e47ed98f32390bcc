#pragma once

#include "library/ContextLibrary.h"
#include "recording/CaptureSession.h"
#include "recording/audio/CafReader.h"
#include "tests/recording/Fakes.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <cmath>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace lumbro::test {

using namespace std::chrono_literals;

/// Recordings in a library of their own, from two sources that the test plays, on its clock.
class CaptureSessionTest : public ::testing::Test {
  protected:
    CaptureSessionTest() {
        library.open();
        record = library.createCapture(CaptureKind::meeting, u"Weekly"_s, {}, clock.now());
        for (const auto& source : {mic, system}) {
            source->events = &events;
        }
    }

    CaptureSession::Ports ports() {
        CaptureSession::Ports made{.library = library, .clock = clock};
        made.microphone = std::make_unique<FakeSource>(mic);
        made.system = std::make_unique<FakeSource>(system);
        made.authorizeMicrophone = [this] { return authorize(); };
        made.warmSpeech = [this] { return warm(); };
        made.monotonic = [this] { return std::chrono::nanoseconds(std::llround(audioTime * 1e9)); };
        return made;
    }
    Task<bool> authorize() {
        events.append(u"authorize"_s);
        co_return isAllowed;
    }
    Task<std::optional<WarmSpeech>> warm() {
        events.append(u"warm"_s);
        co_return hasModel ? std::optional(WarmSpeech{u"en-US"_s, recognizer}) : std::nullopt;
    }
    std::unique_ptr<CaptureSession> make(bool withSystem = true) {
        return std::make_unique<CaptureSession>(record, withSystem, ports());
    }
    std::unique_ptr<CaptureSession> started(bool withSystem = true) {
        auto session = make(withSystem);
        EXPECT_TRUE(wait(session->start()).has_value());
        clock.advance(0ms);
        return session;
    }
    /// Hands a source audio of this loudness in real time.
    void hear(const std::shared_ptr<SourceState>& source, double seconds, float value = 0.5F) {
        const std::vector<float> piece(1600, value);
        for (int i = 0; i < std::lround(seconds * 10); ++i) {
            audioTime += 0.1;
            source->consumer({{16000, 1}, piece});
        }
    }
    TranscriptSegments written() const { return transcript::decode(*readFile(file(u"transcript.json"_s))); }
    QString file(const QString& name) const { return record.path(name); }
    bool has(const QString& name) const { return QFileInfo::exists(file(name)); }
    double secondsOf(const QString& name) const {
        CafReader reader;
        EXPECT_TRUE(reader.open(file(name)).has_value());
        return static_cast<double>(reader.frames()) / 16000;
    }

    ScratchFolder folder;
    TestClock clock;
    ContextLibrary library{folder.path(), clock};
    CaptureRecord record;
    QStringList events;
    bool isAllowed = true;
    bool hasModel = true;
    double audioTime = 0;
    std::shared_ptr<SourceState> mic = std::make_shared<SourceState>(u"mic"_s);
    std::shared_ptr<SourceState> system = std::make_shared<SourceState>(u"system"_s);
    std::shared_ptr<FakeRecognizer> recognizer = std::make_shared<FakeRecognizer>();
};

}  // namespace lumbro::test
