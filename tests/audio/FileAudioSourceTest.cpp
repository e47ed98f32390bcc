#include "recording/audio/FileAudioSource.h"
#include "tests/audio/Tones.h"
#include "tests/support/Program.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QtEndian>

#include <atomic>
#include <mutex>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

/// Collects what a source delivers on its thread.
struct Listener {
    std::mutex lock;
    AudioFormat format;
    std::vector<float> samples;

    AudioSource::Consumer consumer() {
        return [this](const AudioBuffer& buffer) {
            const std::lock_guard guard(lock);
            format = buffer.format;
            samples.insert(samples.end(), buffer.samples.begin(), buffer.samples.end());
        };
    }
    size_t count() {
        const std::lock_guard guard(lock);
        return samples.size();
    }
};

/// A second of 440 Hz on the left and 1000 Hz on the right.
QByteArray stereoFile(double seconds = 1) {
    const std::vector<float> left = test::tone(440, seconds, 32000, 1);
    const std::vector<float> right = test::tone(1000, seconds, 32000, 1);
    std::vector<float> both;
    for (size_t i = 0; i < left.size(); ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    return test::wav(both, 32000, 2);
}

}  // namespace

TEST(FileAudioSource, playsTheCommonFormatsAsFastAsItMay) {
    const test::ScratchFolder folder;
    folder.write(u"in.wav"_s, stereoFile());
    const QStringList names = {u"in.wav"_s, u"a.flac"_s, u"a.mp3"_s,     u"a.ogg"_s,
                               u"a.m4a"_s,  u"a.mkv"_s,  u"a b:c%.mp4"_s};
    for (const QString& name : names) {
        SCOPED_TRACE(qUtf8Printable(name));
        const QString file = folder.path(name);
        if (name != names.first()) {
            QStringList command = {u"ffmpeg"_s, u"-v"_s, u"error"_s, u"-i"_s, folder.path(u"in.wav"_s)};
            if (name.endsWith(u"mp4"_s)) {
                command += {u"-f"_s, u"lavfi"_s, u"-i"_s, u"color=size=32x32:duration=1"_s};
            }
            ASSERT_EQ(test::Program(command + QStringList{u"file:"_s + file}).wait(), 0);
        }
        test::TestClock clock;
        Listener listener;
        bool ended = false;
        FileAudioSource source(
            clock, file, {.realTime = false, .channel = 1, .mayFeed = {}, .onEnd = [&] { ended = true; }});
        const auto started = test::wait(source.start(listener.consumer()));
        ASSERT_TRUE(started) << qUtf8Printable(started.error().message);
        ASSERT_TRUE(test::eventually([&] { return ended; }));
        EXPECT_NEAR(source.duration(), 1, 0.1);
        EXPECT_NEAR(source.position(), 1, 0.1);
        EXPECT_EQ(source.end(), MediaEnd::whole);
        EXPECT_EQ(listener.format, (AudioFormat{32000, 1}));
        EXPECT_NEAR(test::amplitudeOf(1000, std::span(listener.samples).subspan(4000, 16000), 32000), 0.3,
                    0.03);
        EXPECT_LT(test::amplitudeOf(440, std::span(listener.samples).subspan(4000, 16000), 32000), 0.02);
    }
}

TEST(FileAudioSource, givesWhatCanBeReadOfADamagedFileAndSaysSo) {
    struct Row {
        QString name;
        QStringList options;
        /// Bytes of the file that are left, and that are overwritten, as parts of the whole.
        double left = 1;
        double from = 0;
        double to = 0;
        double heard = 0;
        MediaEnd end = MediaEnd::damaged;
    };
    const std::vector<Row> rows = {
        {u"whole.mp3"_s, {}, 1, 0, 0, 20, MediaEnd::whole},
        {u"bare.mp3"_s, {u"-write_xing"_s, u"0"_s, u"-q:a"_s, u"9"_s}, 1, 0, 0, 20, MediaEnd::whole},
        {u"whole.aac"_s, {}, 1, 0, 0, 20, MediaEnd::whole},
        {u"whole.mkv"_s,
         {u"-f"_s, u"lavfi"_s, u"-i"_s, u"color=size=32x32:duration=40"_s},
         1,
         0,
         0,
         20,
         MediaEnd::whole},
        {u"whole.wav"_s, {}, 1, 0, 0, 20, MediaEnd::whole},
        // The sizes that a program writes which can't go back to the head.
        {u"whole.endless.wav"_s, {u"-fflags"_s, u"+bitexact"_s}, 1, 0, 0, 20, MediaEnd::whole},
        {u"cut.wav"_s, {}, 0.5, 0, 0, 10},
        {u"whole.ogg"_s, {}, 1, 0, 0, 20, MediaEnd::whole},
        {u"whole.opus"_s, {}, 1, 0, 0, 20, MediaEnd::whole},
        {u"cut.ogg"_s, {}, 0.5, 0, 0, 10, MediaEnd::cutOff},
        {u"cut.opus"_s, {}, 0.5, 0, 0, 10, MediaEnd::cutOff},
        {u"cut.flac"_s, {}, 0.5, 0, 0, 10},
        {u"cut.mp3"_s, {}, 0.5, 0, 0, 10},
        {u"cut.m4a"_s, {u"-movflags"_s, u"faststart"_s}, 0.5, 0, 0, 10},
        {u"cut.mkv"_s, {}, 0.5, 0, 0, 10},
        {u"hole.flac"_s, {}, 1, 0.4, 0.6, 16},
        {u"hole.mp3"_s, {}, 1, 0.4, 0.6, 16},
        {u"hole.m4a"_s, {u"-movflags"_s, u"faststart"_s}, 1, 0.4, 0.6, 16},
        {u"hole.mkv"_s, {}, 1, 0.4, 0.6, 12},
    };
    const test::ScratchFolder folder;
    folder.write(u"in.wav"_s, stereoFile(20));
    for (const Row& row : rows) {
        SCOPED_TRACE(qUtf8Printable(row.name));
        const QStringList command{u"ffmpeg"_s, u"-v"_s, u"error"_s, u"-i"_s, folder.path(u"in.wav"_s)};
        ASSERT_EQ(test::Program(command + row.options + QStringList{folder.path(row.name)}).wait(), 0);
        QByteArray bytes = folder.read(row.name);
        const auto at = [size = bytes.size()](double part) { return qsizetype(part * double(size)); };
        const qsizetype hole = at(row.to) - at(row.from);
        bytes.replace(at(row.from), hole, QByteArray(hole, 'x'));
        if (row.name.contains(u"endless"_s)) {
            bytes.replace(40, 4, QByteArray(4, '\xff'));
        }
        folder.write(row.name, bytes.left(at(row.left)));
        test::TestClock clock;
        Listener listener;
        bool ended = false;
        FileAudioSource source(
            clock, folder.path(row.name),
            {.realTime = false, .channel = {}, .mayFeed = {}, .onEnd = [&] { ended = true; }});
        ASSERT_TRUE(test::wait(source.start(listener.consumer())));
        ASSERT_TRUE(test::eventually([&] { return ended; }));
        EXPECT_NEAR(source.position(), row.heard, 1.5);
        EXPECT_EQ(source.end(), row.end);
    }
}

TEST(FileAudioSource, tellsOfAnMp3ThatHoldsAnotherLengthThanItSays) {
    const test::ScratchFolder folder;
    folder.write(u"in.wav"_s, stereoFile(20));
    ASSERT_EQ(test::Program({u"ffmpeg"_s, u"-v"_s, u"error"_s, u"-i"_s, folder.path(u"in.wav"_s),
                             folder.path(u"in.mp3"_s)})
                  .wait(),
              0);
    const QByteArray whole = folder.read(u"in.mp3"_s);
    const qsizetype frames = std::max(whole.indexOf("Info"), whole.indexOf("Xing")) + 8;
    const auto says = [&](double part) {
        QByteArray bytes = whole;
        const auto count = qFromBigEndian<quint32>(bytes.constData() + frames);
        qToBigEndian(quint32(part * count), bytes.data() + frames);
        folder.write(u"in.mp3"_s, bytes);
        test::TestClock clock;
        bool ended = false;
        FileAudioSource source(
            clock, folder.path(u"in.mp3"_s),
            {.realTime = false, .channel = {}, .mayFeed = {}, .onEnd = [&] { ended = true; }});
        EXPECT_TRUE(test::wait(source.start([](const AudioBuffer&) {})));
        EXPECT_TRUE(test::eventually([&] { return ended; }));
        EXPECT_NEAR(source.position(), 20, 0.2);
        return source.end();
    };
    EXPECT_EQ(says(1), MediaEnd::whole);
    EXPECT_EQ(says(2), MediaEnd::damaged);
    EXPECT_EQ(says(0.5), MediaEnd::longer);
}

TEST(FileAudioSource, followsTheClockInRealTime) {
    const test::ScratchFolder folder;
    folder.write(u"in.wav"_s, stereoFile(5));
    test::TestClock clock;
    Listener listener;
    bool ended = false;
    FileAudioSource source(clock, folder.path(u"in.wav"_s),
                           {.realTime = true, .channel = {}, .mayFeed = {}, .onEnd = [&] { ended = true; }});
    ASSERT_TRUE(test::wait(source.start(listener.consumer())));
    clock.advance(2s);
    ASSERT_TRUE(test::eventually([&] { return source.position() >= 2; }));
    EXPECT_LT(source.position(), 2.3);
    EXPECT_FALSE(ended);
    clock.advance(4s);
    ASSERT_TRUE(test::eventually([&] { return ended; }));
    EXPECT_EQ(listener.count(), size_t(5 * 32000 * 2));
}

TEST(FileAudioSource, waitsForItsConsumerAndStopsAtOnce) {
    const test::ScratchFolder folder;
    folder.write(u"in.wav"_s, stereoFile(60));
    test::TestClock clock;
    Listener listener;
    std::atomic<int> asked = 0;
    bool ended = false;
    FileAudioSource source(clock, folder.path(u"in.wav"_s),
                           {.realTime = false,
                            .channel = {},
                            .mayFeed = [&] { return ++asked <= 3; },
                            .onEnd = [&] { ended = true; }});
    ASSERT_TRUE(test::wait(source.start(listener.consumer())));
    ASSERT_TRUE(test::eventually([&] { return asked > 5; }));
    const size_t fed = listener.count();
    EXPECT_GT(fed, 0U);
    EXPECT_LT(fed, size_t(32000));
    source.stop();
    source.stop();
    EXPECT_EQ(listener.count(), fed);
    test::processEvents();
    EXPECT_FALSE(ended);
}

TEST(FileAudioSource, saysWhatItCannotRead) {
    const test::ScratchFolder folder;
    folder.write(u"text.wav"_s,
                 "These are words, and no sound at all. These are words, and no sound at all.");
    folder.write(u"empty.m4a"_s, "");
    folder.write(u"list.m3u8"_s, "#EXTM3U\n#EXTINF:1,\n/etc/hostname\n");
    folder.write(u"good.wav"_s, stereoFile());
    folder.write(u"cut.wav"_s, stereoFile().left(40000));
    folder.write(u"headOnly.wav"_s, stereoFile().left(44));
    const auto words = [&](const QString& name, std::optional<int> channel = {}) {
        test::TestClock clock;
        FileAudioSource source(clock, folder.path(name),
                               {.realTime = false, .channel = channel, .mayFeed = {}, .onEnd = {}});
        const auto started = test::wait(source.start([](const AudioBuffer&) {}));
        return started ? u"fine"_s : started.error().message;
    };
    EXPECT_EQ(words(u"missing.wav"_s), u"There is no file “%1”."_s.arg(folder.path(u"missing.wav"_s)));
    EXPECT_TRUE(words({}).endsWith(u"” is a folder; give a file in it."_s));
    for (const QString& name : {u"text.wav"_s, u"empty.m4a"_s, u"list.m3u8"_s}) {
        EXPECT_EQ(words(name), u"“"_s + name + u"” isn't an audio file that Lumbro can read."_s);
    }
    EXPECT_EQ(words(u"headOnly.wav"_s), u"“headOnly.wav” has no sound in it."_s);
    EXPECT_EQ(words(u"good.wav"_s, 2), u"The file has no channel 3."_s);
    EXPECT_EQ(words(u"cut.wav"_s), u"fine"_s);
    const auto info = FileAudioSource::probe(folder.path(u"good.wav"_s));
    ASSERT_TRUE(info);
    EXPECT_EQ(*info, (AudioFileInfo{{32000, 2}, 1.0}));
}
