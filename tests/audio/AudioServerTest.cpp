#include "LumbroCore/Clock.h"
#include "platform/linux/PulseAudioServer.h"
#include "platform/linux/PulseStream.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/SystemAudioSource.h"
#include "recording/audio/TrackPipeline.h"
#include "tests/audio/TrackEar.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;
using test::eventually;
using test::PrivateAudioServer;
using test::ToneWindow;

namespace {

/// A real server with speakers and a microphone, and a recording of both. Everything is waited for by what it
/// leads to: any of the programs may stand still for seconds.
class RealServer : public testing::TestWithParam<PrivateAudioServer::Kind> {
  protected:
    void SetUp() override {
        if (!PrivateAudioServer::isInstalled(GetParam())) {
            GTEST_SKIP() << "the audio server's programs are not installed";
        }
        ASSERT_TRUE(m_private.start()) << qUtf8Printable(m_private.log());
        ASSERT_TRUE(m_private.addRoom()) << qUtf8Printable(m_private.log());
        ASSERT_TRUE(succeeds([this] { return test::wait(m_server.attach()); }));
        ASSERT_TRUE(hasDefaults(u"virtmic"_s, u"speakers"_s));
    }
    void TearDown() override {
        if (HasFailure()) {
            std::fputs(qPrintable(m_private.log()), stderr);
        }
    }

    /// Tries again what gives up on a server that answers late.
    template <typename Action>
    static testing::AssertionResult succeeds(Action action) {
        Result<> result;
        const bool isDone = eventually([&] {
            result = action();
            return result.has_value();
        });
        return isDone ? testing::AssertionSuccess()
                      : testing::AssertionFailure() << qUtf8Printable(result.error().message);
    }
    testing::AssertionResult hasDefaults(const QString& microphone, const QString& output) const {
        const bool isSo = eventually(
            [&] { return m_server.defaultMicrophone() == microphone && m_server.defaultOutput() == output; });
        return isSo ? testing::AssertionSuccess()
                    : testing::AssertionFailure() << qUtf8Printable(m_server.defaultMicrophone()) << " and "
                                                  << qUtf8Printable(m_server.defaultOutput());
    }
    testing::AssertionResult makeDefaults(const QString& microphone, const QString& output) {
        if (!m_private.setDefault(u"source"_s, microphone) || !m_private.setDefault(u"sink"_s, output)) {
            return testing::AssertionFailure() << qUtf8Printable(m_private.log());
        }
        return hasDefaults(microphone, output);
    }
    test::Program& play(double hertz, const QString& sink) {
        const QString name = QString::number(hertz) + u".wav"_s;
        if (!m_folder.has(name)) {
            m_folder.write(name, test::wav(test::tone(hertz, 12, 48000, 1), 48000, 1));
        }
        return m_private.play(m_folder.path(name), sink);
    }
    void startRecording() {
        ASSERT_TRUE(succeeds([this] {
            return test::wait(m_mic.start([this](const AudioBuffer& b) { m_me.ingest(b); }));
        })) << "microphone";
        ASSERT_TRUE(succeeds([this] {
            return test::wait(m_system.start([this](const AudioBuffer& b) { m_them.ingest(b); }));
        })) << "output";
        ASSERT_TRUE(hearMore());
    }
    /// Waits until more of both tracks has come in.
    testing::AssertionResult hearMore() const {
        constexpr double seconds = 0.3;
        const double me = m_me.secondsIngested() + seconds;
        const double them = m_them.secondsIngested() + seconds;
        const bool isSo =
            eventually([&] { return m_me.secondsIngested() >= me && m_them.secondsIngested() >= them; });
        return isSo ? testing::AssertionSuccess()
                    : testing::AssertionFailure()
                          << "microphone " << m_me.secondsIngested() - me + seconds << " s, output "
                          << m_them.secondsIngested() - them + seconds << " s";
    }
    void stopRecording() {
        m_mic.stop();
        m_system.stop();
        m_me.close();
        m_them.close();
    }
    static TrackPipeline::Feed to(test::TrackEar& ear) {
        return [&ear](std::span<const float> work, float) { ear.take(work); };
    }

    test::ScratchFolder m_folder;
    PrivateAudioServer m_private{GetParam()};
    SystemClock m_clock;
    Settings m_settings{m_folder.path(u"Lumbro.ini"_s)};
    PulseAudioServer m_server{m_clock};
    test::TrackEar m_meEar;
    test::TrackEar m_themEar;
    TrackPipeline m_me{m_folder.path(u"me.caf"_s), to(m_meEar), {}};
    TrackPipeline m_them{m_folder.path(u"them.caf"_s), to(m_themEar), {}};
    MicSource m_mic{m_server, m_clock, m_settings, u"capture-mic"_s};
    SystemAudioSource m_system{m_server, m_clock};
};

}  // namespace

TEST_P(RealServer, recordsTheMicrophoneAndTheOutputApart) {
    play(test::micTone, u"micfeed"_s);
    play(test::callTone, u"speakers"_s);
    startRecording();
    EXPECT_TRUE(
        eventually([this] { return m_meEar.hears(&ToneWindow::mic) && m_themEar.hears(&ToneWindow::call); }));
    for (const AudioDevice& microphone : m_server.microphones()) {
        EXPECT_FALSE(microphone.id.contains(u"monitor"_s)) << qUtf8Printable(microphone.id);
    }
    stopRecording();
    const auto me = ToneWindow::all(test::trackSamples(m_folder.path(u"me.caf"_s)));
    const auto them = ToneWindow::all(test::trackSamples(m_folder.path(u"them.caf"_s)));
    EXPECT_TRUE(std::ranges::any_of(me, test::isWhole, &ToneWindow::mic));
    EXPECT_TRUE(std::ranges::any_of(them, test::isWhole, &ToneWindow::call));
    // A tone that breaks off has a little of all others.
    EXPECT_LT(std::ranges::max(me, {}, &ToneWindow::call).call, 0.03);
    EXPECT_LT(std::ranges::max(them, {}, &ToneWindow::mic).mic, 0.03);
}

TEST_P(RealServer, followsTheDefaultDevices) {
    m_private.addSink(u"headphones"_s);
    m_private.addSink(u"headsetfeed"_s);
    m_private.addMicrophone(u"headset"_s, u"headsetfeed"_s);
    play(test::micTone, u"headsetfeed"_s);
    play(test::callTone, u"headphones"_s);
    startRecording();
    EXPECT_FALSE(m_meEar.hears(&ToneWindow::mic) || m_themEar.hears(&ToneWindow::call));
    ASSERT_TRUE(makeDefaults(u"headset"_s, u"headphones"_s));
    EXPECT_TRUE(eventually([this] { return m_meEar.hears(&ToneWindow::mic); }));
    EXPECT_TRUE(eventually([this] { return m_themEar.hears(&ToneWindow::call); }));
}

TEST_P(RealServer, learnsOfDefaultDevicesThatItIsNotToldOf) {
    m_private.addSink(u"headphones"_s);
    ASSERT_TRUE(hasDefaults(u"virtmic"_s, u"speakers"_s));
    m_private.loseAClient();
    EXPECT_TRUE(makeDefaults(u"virtmic"_s, u"headphones"_s));
    EXPECT_TRUE(makeDefaults(u"virtmic"_s, u"speakers"_s));
}

TEST_P(RealServer, outlivesDevicesThatVanish) {
    const QString sink = m_private.addSink(u"dock"_s);
    m_private.addSink(u"dockfeed"_s);
    const QString microphone = m_private.addMicrophone(u"dockmic"_s, u"dockfeed"_s);
    ASSERT_TRUE(makeDefaults(u"dockmic"_s, u"dock"_s));
    startRecording();
    ASSERT_TRUE(m_private.unload(microphone) && m_private.unload(sink));
    play(test::micTone, u"micfeed"_s);
    EXPECT_TRUE(eventually([this] { return m_meEar.hears(&ToneWindow::mic); })) << "microphone";
    // Which output is the default one now is up to the server, and it may choose more than once.
    QString output;
    test::Program* player = nullptr;
    const auto hearsTheDefaultOutput = [&] {
        if (player == nullptr || player->wait(0ms) || output != m_server.defaultOutput()) {
            if (player != nullptr) {
                player->end();
            }
            output = m_server.defaultOutput();
            player = &play(test::callTone, output);
        }
        return m_themEar.hears(&ToneWindow::call);
    };
    EXPECT_TRUE(eventually(hearsTheDefaultOutput)) << "output " << qUtf8Printable(output);
}

TEST_P(RealServer, bothTracksAreEquallyLate) {
    // The microphone hears what the speakers play, so each click is in both tracks.
    m_private.addMicrophone(u"echo"_s, u"speakers"_s);
    ASSERT_TRUE(makeDefaults(u"echo"_s, u"speakers"_s));
    std::vector<float> click(size_t(48000) * 2 * 2);
    std::fill_n(click.begin() + 48000, 96, 0.9F);
    m_folder.write(u"click.wav"_s, test::wav(click, 48000, 2));
    startRecording();
    m_private.play(m_folder.path(u"click.wav"_s), u"speakers"_s);
    // One that a busy machine holds up on its way to one of them tells nothing.
    std::optional<double> nearest;
    const auto cameTogether = [&] {
        for (const auto me : m_meEar.clicks()) {
            for (const auto them : m_themEar.clicks()) {
                const double apart = std::chrono::duration<double, std::milli>(me - them).count();
                nearest = nearest && std::abs(*nearest) < std::abs(apart) ? *nearest : apart;
            }
        }
        return nearest && std::abs(*nearest) < 100;
    };
    EXPECT_TRUE(eventually(cameTogether));
    std::printf("me is %.1f ms behind them\n", nearest.value_or(-1e9));
}

TEST_P(RealServer, tellsWhoUsesTheMicrophone) {
    startRecording();
    EXPECT_TRUE(m_server.usingMicrophone().isEmpty());
    const auto record = [&](const QString& binary, const QString& device) -> test::Program& {
        return m_private.run(u"parec"_s, {u"--device="_s + device, u"--client-name="_s + binary,
                                          u"--property=application.process.binary="_s + binary});
    };
    record(u"slack"_s, u"speakers.monitor"_s);
    test::Program& call = record(u"zoom"_s, u"virtmic"_s);
    const QList<MicrophoneUser> zoom = {{u"Zoom"_s, u"us.zoom.xos"_s}};
    EXPECT_TRUE(eventually([&] { return m_server.usingMicrophone() == zoom; }));
    call.terminate();
    EXPECT_TRUE(eventually([&] { return m_server.usingMicrophone().isEmpty(); }));
}

TEST_P(RealServer, findsAServerAgainThatWasRestarted) {
    startRecording();
    m_private.stop();
    EXPECT_TRUE(eventually([&] { return m_server.microphones().isEmpty(); }));
    ASSERT_TRUE(m_private.start() && m_private.addRoom()) << qUtf8Printable(m_private.log());
    ASSERT_TRUE(hasDefaults(u"virtmic"_s, u"speakers"_s));
    EXPECT_TRUE(hearMore());
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
    ASSERT_TRUE(connection->start() && eventually([&isConnected] { return isConnected.load(); }));
    bool hasFailed = false;
    AudioStreamEvents events;
    events.onBuffer = [](const AudioBuffer&) {};
    events.onFailed = [&hasFailed](const QString&) { hasFailed = true; };
    PulseStream stream(connection, events);
    const QFuture<Result<>> opened = stream.connect(u"dock.monitor"_s, true);
    // This thread takes no mail meanwhile: the stream is open, and gone, before that is known here.
    ASSERT_TRUE(server.unload(sink));
    ASSERT_TRUE(eventually([&opened] { return opened.isFinished(); }));
    EXPECT_TRUE(!opened.result() || eventually([&hasFailed] { return hasFailed; }));
}

const auto bothServers =
    testing::Values(PrivateAudioServer::Kind::pulseAudio, PrivateAudioServer::Kind::pipeWire);

std::string nameOf(const testing::TestParamInfo<PrivateAudioServer::Kind>& info) {
    return info.param == PrivateAudioServer::Kind::pulseAudio ? "pulseAudio" : "pipeWire";
}

INSTANTIATE_TEST_SUITE_P(Audio, RealServer, bothServers, nameOf);
INSTANTIATE_TEST_SUITE_P(Audio, OneStream, bothServers, nameOf);

TEST(NoServer, isSaidWithoutWaitingForOne) {
    const test::ScratchFolder folder;
    qputenv("PULSE_SERVER", ("unix:" + folder.path(u"nobody"_s)).toUtf8());
    test::TestClock clock;
    PulseAudioServer server(clock);
    const auto attached = test::wait(server.attach());
    ASSERT_FALSE(attached);
    EXPECT_EQ(attached.error().message,
              u"No audio server answers. Start PipeWire or PulseAudio, then try again."_s);
    Settings settings(folder.path(u"Lumbro.ini"_s));
    MicSource mic(server, clock, settings, u"capture-mic"_s);
    const auto started = test::wait(mic.start([](const AudioBuffer&) {}));
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error().message, u"Couldn't start the microphone: no audio server"_s);
}
