#include "LumbroCore/Clock.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/linux/PulseStream.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/SystemAudioSource.h"
#include "recording/audio/TrackPipeline.h"
#include "tests/audio/Tones.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <algorithm>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;
using test::amplitudeOf;
using test::eventually;
using test::PrivateAudioServer;

namespace {

constexpr double micTone = 440;
constexpr double callTone = 1000;

/// A real server with speakers and a microphone, and a recording of both.
class RealServer : public testing::TestWithParam<PrivateAudioServer::Kind> {
  protected:
    void SetUp() override {
        if (!PrivateAudioServer::isInstalled(GetParam())) {
            GTEST_SKIP() << "the audio server's programs are not installed";
        }
        ASSERT_TRUE(m_private.start()) << qUtf8Printable(m_private.log());
        ASSERT_TRUE(m_private.addRoom()) << qUtf8Printable(m_private.log());
        const auto attached = test::wait(m_server.attach());
        ASSERT_TRUE(attached) << qUtf8Printable(attached.error().message);
        ASSERT_TRUE(eventually([&] { return hasDefaults(u"virtmic"_s, u"speakers"_s); }, 5s));
    }
    void TearDown() override {
        if (HasFailure()) {
            std::fputs(qPrintable(m_private.log()), stderr);
        }
    }

    bool hasDefaults(const QString& microphone, const QString& output) const {
        return m_server.defaultMicrophone() == microphone && m_server.defaultOutput() == output;
    }
    void play(double hertz, const QString& sink) {
        const QString name = QString::number(hertz) + u".wav"_s;
        if (!m_folder.has(name)) {
            m_folder.write(name, test::wav(test::tone(hertz, 12, 48000, 1), 48000, 1));
        }
        m_private.run(u"paplay"_s, {u"--device="_s + sink, m_folder.path(name)});
    }
    void startRecording() {
        const auto mic = test::wait(m_mic.start([this](const AudioBuffer& b) { m_me.ingest(b); }));
        ASSERT_TRUE(mic) << qUtf8Printable(mic.error().message);
        const auto system = test::wait(m_system.start([this](const AudioBuffer& b) { m_them.ingest(b); }));
        ASSERT_TRUE(system) << qUtf8Printable(system.error().message);
    }
    /// Waits until `seconds` more of a track have come in.
    static bool hear(const TrackPipeline& track, double seconds) {
        const double goal = track.secondsIngested() + seconds;
        return eventually([&] { return track.secondsIngested() >= goal; }, 10s);
    }
    /// The last second that a track's listener got.
    static std::span<const float> lastSecond(const std::vector<float>& heard) {
        return std::span(heard).last(std::min<size_t>(heard.size(), 16000));
    }
    void stopRecording() {
        m_mic.stop();
        m_system.stop();
        m_me.close();
        m_them.close();
    }
    TrackPipeline::Feed collector(std::vector<float>& into) {
        return [&into](std::span<const float> work, float) {
            into.insert(into.end(), work.begin(), work.end());
        };
    }

    test::ScratchFolder m_folder;
    PrivateAudioServer m_private{GetParam()};
    SystemClock m_clock;
    Settings m_settings{m_folder.path(u"Lumbro.ini"_s)};
    PulseAudioServer m_server{m_clock};
    std::vector<float> m_meHeard;
    std::vector<float> m_themHeard;
    TrackPipeline m_me{m_folder.path(u"me.caf"_s), collector(m_meHeard), {}};
    TrackPipeline m_them{m_folder.path(u"them.caf"_s), collector(m_themHeard), {}};
    MicSource m_mic{m_server, m_clock, m_settings, u"capture-mic"_s};
    SystemAudioSource m_system{m_server, m_clock};
};

}  // namespace

TEST_P(RealServer, recordsTheMicrophoneAndTheOutputApart) {
    play(micTone, u"micfeed"_s);
    play(callTone, u"speakers"_s);
    startRecording();
    ASSERT_TRUE(hear(m_me, 1.5) && hear(m_them, 1.5));
    for (const AudioDevice& microphone : m_server.microphones()) {
        EXPECT_FALSE(microphone.id.contains(u"monitor"_s)) << qUtf8Printable(microphone.id);
    }
    stopRecording();
    const std::vector<float> me = test::trackSamples(m_folder.path(u"me.caf"_s));
    const std::vector<float> them = test::trackSamples(m_folder.path(u"them.caf"_s));
    EXPECT_NEAR(amplitudeOf(micTone, lastSecond(me)), 0.3, 0.05);
    EXPECT_LT(amplitudeOf(callTone, lastSecond(me)), 0.01);
    EXPECT_NEAR(amplitudeOf(callTone, lastSecond(them)), 0.3, 0.05);
    EXPECT_LT(amplitudeOf(micTone, lastSecond(them)), 0.01);
}

TEST_P(RealServer, followsTheDefaultDevices) {
    m_private.addSink(u"headphones"_s);
    m_private.addSink(u"headsetfeed"_s);
    m_private.addMicrophone(u"headset"_s, u"headsetfeed"_s);
    play(micTone, u"headsetfeed"_s);
    play(callTone, u"headphones"_s);
    startRecording();
    ASSERT_TRUE(hear(m_me, 0.3) && hear(m_them, 0.3));
    m_private.pactl({u"set-default-source"_s, u"headset"_s});
    m_private.pactl({u"set-default-sink"_s, u"headphones"_s});
    ASSERT_TRUE(eventually([&] { return hasDefaults(u"headset"_s, u"headphones"_s); }, 5s));
    ASSERT_TRUE(hear(m_me, 2.5) && hear(m_them, 2.5));
    stopRecording();
    EXPECT_NEAR(amplitudeOf(micTone, lastSecond(m_meHeard)), 0.3, 0.05);
    EXPECT_NEAR(amplitudeOf(callTone, lastSecond(m_themHeard)), 0.3, 0.05);
}

TEST_P(RealServer, outlivesDevicesThatVanish) {
    const QString sink = m_private.addSink(u"dock"_s);
    m_private.addSink(u"dockfeed"_s);
    const QString microphone = m_private.addMicrophone(u"dockmic"_s, u"dockfeed"_s);
    m_private.pactl({u"set-default-source"_s, u"dockmic"_s});
    m_private.pactl({u"set-default-sink"_s, u"dock"_s});
    ASSERT_TRUE(eventually([&] { return hasDefaults(u"dockmic"_s, u"dock"_s); }, 5s));
    startRecording();
    ASSERT_TRUE(hear(m_me, 0.3) && hear(m_them, 0.3));
    m_private.unload(microphone);
    m_private.unload(sink);
    ASSERT_TRUE(eventually(
        [&] { return m_server.defaultOutput() != u"dock"_s && m_server.defaultMicrophone() == u"virtmic"_s; },
        5s));
    play(micTone, u"micfeed"_s);
    play(callTone, m_server.defaultOutput());
    ASSERT_TRUE(hear(m_me, 2.5)) << "microphone";
    ASSERT_TRUE(hear(m_them, 2.5)) << "output";
    stopRecording();
    EXPECT_NEAR(amplitudeOf(micTone, lastSecond(m_meHeard)), 0.3, 0.05);
    EXPECT_LT(amplitudeOf(callTone, lastSecond(m_meHeard)), 0.1);
    EXPECT_GT(amplitudeOf(callTone, lastSecond(m_themHeard)), 0.25);
}

TEST_P(RealServer, bothTracksHaveOneTime) {
    // The microphone hears what the speakers play, so one click is in both tracks.
    m_private.addMicrophone(u"echo"_s, u"speakers"_s);
    m_private.pactl({u"set-default-source"_s, u"echo"_s});
    ASSERT_TRUE(eventually([&] { return hasDefaults(u"echo"_s, u"speakers"_s); }, 5s));
    std::vector<float> click(size_t(48000) * 2 * 2);
    std::fill_n(click.begin() + 48000, 96, 0.9F);
    m_folder.write(u"click.wav"_s, test::wav(click, 48000, 2));
    startRecording();
    m_private.run(u"paplay"_s, {u"--device=speakers"_s, m_folder.path(u"click.wav"_s)});
    ASSERT_TRUE(hear(m_me, 2.5) && hear(m_them, 0.1));
    stopRecording();
    const auto clickAt = [](const std::vector<float>& track) {
        const auto loudest = std::ranges::max_element(track, {}, [](float s) { return std::abs(s); });
        EXPECT_GT(std::abs(*loudest), 0.3F);
        return 1000.0 * static_cast<double>(loudest - track.begin()) / 16000;
    };
    const double apart = clickAt(m_meHeard) - clickAt(m_themHeard);
    RecordProperty("milliseconds", static_cast<int>(apart));
    std::printf("me is %.1f ms behind them\n", apart);
    EXPECT_LT(std::abs(apart), 100);
}

TEST_P(RealServer, tellsWhoUsesTheMicrophone) {
    startRecording();
    ASSERT_TRUE(hear(m_me, 0.2));
    EXPECT_TRUE(m_server.usingMicrophone().isEmpty());
    const auto record = [&](const QString& binary, const QString& device) -> test::Program& {
        return m_private.run(u"parec"_s, {u"--device="_s + device, u"--client-name="_s + binary,
                                          u"--property=application.process.binary="_s + binary});
    };
    record(u"slack"_s, u"speakers.monitor"_s);
    test::Program& call = record(u"zoom"_s, u"virtmic"_s);
    const QList<MicrophoneUser> zoom = {{u"Zoom"_s, u"us.zoom.xos"_s}};
    EXPECT_TRUE(eventually([&] { return m_server.usingMicrophone() == zoom; }, 5s));
    call.terminate();
    EXPECT_TRUE(eventually([&] { return m_server.usingMicrophone().isEmpty(); }, 5s));
}

TEST_P(RealServer, findsAServerAgainThatWasRestarted) {
    startRecording();
    ASSERT_TRUE(hear(m_me, 0.2) && hear(m_them, 0.2));
    m_private.stop();
    EXPECT_TRUE(eventually([&] { return m_server.microphones().isEmpty(); }, 5s));
    ASSERT_TRUE(m_private.start() && m_private.addRoom()) << qUtf8Printable(m_private.log());
    ASSERT_TRUE(eventually([&] { return hasDefaults(u"virtmic"_s, u"speakers"_s); }, 8s));
    EXPECT_TRUE(hear(m_me, 0.3)) << "microphone";
    EXPECT_TRUE(hear(m_them, 0.3)) << "output";
}

/// With one connection only: libpulse hands packets from one to the other, which ThreadSanitizer can't
/// follow.
class OneStream : public testing::TestWithParam<PrivateAudioServer::Kind> {};

TEST_P(OneStream, aDeviceThatGoesWhileItsStreamOpensIsAFailure) {
    if (!PrivateAudioServer::isInstalled(GetParam())) {
        GTEST_SKIP() << "the audio server's programs are not installed";
    }
    PrivateAudioServer server(GetParam());
    ASSERT_TRUE(server.start()) << qUtf8Printable(server.log());
    const QString sink = server.addSink(u"dock"_s);
    std::atomic<bool> isConnected = false;
    const auto connection = std::make_shared<PulseConnection>(PulseConnection::Events{
        .onSnapshot = [&isConnected](const PulseSnapshot&) { isConnected = true; }, .onLost = [] {}});
    ASSERT_TRUE(connection->start() && eventually([&isConnected] { return isConnected.load(); }, 5s));
    bool hasFailed = false;
    AudioStreamEvents events;
    events.onBuffer = [](const AudioBuffer&) {};
    events.onFailed = [&hasFailed](const QString&) { hasFailed = true; };
    PulseStream stream(connection, events);
    const QFuture<Result<>> opened = stream.connect(u"dock.monitor"_s, true);
    // This thread takes no mail meanwhile: the stream is open, and gone, before that is known here.
    server.unload(sink);
    ASSERT_TRUE(eventually([&opened] { return opened.isFinished(); }, 5s));
    EXPECT_TRUE(!opened.result() || eventually([&hasFailed] { return hasFailed; }, 2s));
}

const auto bothServers =
    testing::Values(PrivateAudioServer::Kind::pulseAudio, PrivateAudioServer::Kind::pipeWire);

std::string nameOf(const testing::TestParamInfo<PrivateAudioServer::Kind>& info) {
    return info.param == PrivateAudioServer::Kind::pulseAudio ? "pulseAudio" : "pipeWire";
}

INSTANTIATE_TEST_SUITE_P(Audio, RealServer, bothServers, nameOf);
INSTANTIATE_TEST_SUITE_P(Audio, OneStream, bothServers, nameOf);

TEST(NoServer, isSaidAtOnce) {
    const test::ScratchFolder folder;
    qputenv("PULSE_SERVER", ("unix:" + folder.path(u"nobody"_s)).toUtf8());
    SystemClock clock;
    PulseAudioServer server(clock);
    const auto begin = clock.elapsed();
    const auto attached = test::wait(server.attach());
    ASSERT_FALSE(attached);
    EXPECT_EQ(attached.error().message,
              u"No audio server answers. Start PipeWire or PulseAudio, then try again."_s);
    EXPECT_LT(clock.elapsed() - begin, 2s);
    Settings settings(folder.path(u"Lumbro.ini"_s));
    MicSource mic(server, clock, settings, u"capture-mic"_s);
    const auto started = test::wait(mic.start([](const AudioBuffer&) {}));
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().message, u"Couldn't start the microphone: no audio server"_s);
}
