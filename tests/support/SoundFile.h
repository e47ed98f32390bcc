#pragma once

#include "LumbroCore/Clock.h"
#include "recording/audio/FileAudioSource.h"
#include "tests/support/Wait.h"

#include <QString>

#include <vector>

#include <gtest/gtest.h>

namespace lumbro::test {

/// All samples of a mono file of 16 kHz, as a track is. For tests that link recording_audio.
inline std::vector<float> soundOf(const QString& file) {
    SystemClock clock;
    std::vector<float> samples;
    bool isDone = false;
    FilePlayback playback;
    playback.realTime = false;
    playback.onEnd = [&isDone] { isDone = true; };
    FileAudioSource source(clock, file, playback);
    const auto take = [&samples](const AudioBuffer& buffer) {
        EXPECT_EQ(buffer.format, (AudioFormat{16000, 1}));
        samples.insert(samples.end(), buffer.samples.begin(), buffer.samples.end());
    };
    EXPECT_TRUE(wait(source.start(take)).has_value()) << file.toStdString();
    EXPECT_TRUE(eventually([&isDone] { return isDone; }));
    source.stop();
    return samples;
}

}  // namespace lumbro::test
