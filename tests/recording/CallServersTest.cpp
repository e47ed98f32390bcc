#include "LumbroCore/Clock.h"
#include "platform/linux/PulseAudioServer.h"
#include "recording/CallDetector.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro {

using namespace std::chrono_literals;
using test::eventually;
using test::PrivateAudioServer;

namespace {

/// The detector on a real server; its own time is the test's.
class CallsOnServer : public testing::TestWithParam<PrivateAudioServer::Kind> {
  protected:
    void SetUp() override {
        if (!PrivateAudioServer::isInstalled(GetParam())) {
            GTEST_SKIP() << "the audio server's programs are not installed";
        }
        ASSERT_TRUE(audio.start() && audio.addRoom()) << qUtf8Printable(audio.log());
        ASSERT_TRUE(eventually([this] { return test::wait(server.attach()).has_value(); }));
        ASSERT_TRUE(eventually([this] { return server.defaultMicrophone() == u"virtmic"_s; }));
        timer.start(clock, CallDetector::interval, Clock::Repeat::always, [this] { detector.tick(); });
        clock.advance(2s);
    }

    CallDetector::Ports ports() {
        CallDetector::Ports made;
        made.offerCapture = [this](const QString& app) { happened += app; };
        made.callEnded = [this] { happened += u"ended"_s; };
        return made;
    }
    /// A program that records as an application of this name.
    test::Program& record(const QString& binary, const QString& device = u"virtmic"_s) {
        return audio.run(u"parec"_s, {u"--device="_s + device, u"--client-name="_s + binary,
                                      u"--property=application.process.binary="_s + binary});
    }
    bool isUsedBy(const QString& bundleID) const {
        return eventually([&] {
            const QList<MicrophoneUser>& users = server.usingMicrophone();
            return std::ranges::any_of(users,
                                       [&](const MicrophoneUser& user) { return user.bundleID == bundleID; });
        });
    }

    PrivateAudioServer audio{GetParam()};
    test::ScratchFolder scratch;
    SystemClock machine;
    test::TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    PulseAudioServer server{machine};
    QStringList happened;
    CallDetector detector{clock, settings, server, ports()};
    Timer timer;
};

}  // namespace

TEST_P(CallsOnServer, aMeetingApplicationOnTheMicrophoneIsACall) {
    record(u"slack"_s, u"speakers.monitor"_s);
    record(u"arecord"_s);
    ASSERT_TRUE(isUsedBy(u"arecord"_s));
    clock.advance(2s);
    EXPECT_EQ(happened, QStringList()) << "neither what listens to the output nor any other application";
    test::Program& call = record(u"zoom"_s);
    ASSERT_TRUE(isUsedBy(u"us.zoom.xos"_s));
    clock.advance(2s);
    EXPECT_EQ(happened, QStringList{u"Zoom"_s});
    call.terminate();
    ASSERT_TRUE(eventually([this] { return server.usingMicrophone().size() == 1; }));
    clock.advance(6s);
    EXPECT_EQ(happened, (QStringList{u"Zoom"_s, u"ended"_s}));
}

TEST_P(CallsOnServer, aServerThatRestartsInACallEndsItNot) {
    record(u"zoom"_s);
    ASSERT_TRUE(isUsedBy(u"us.zoom.xos"_s));
    clock.advance(2s);
    audio.stop();
    ASSERT_TRUE(eventually([this] { return server.microphones().isEmpty(); }));
    clock.advance(20s);
    ASSERT_TRUE(audio.start() && audio.addRoom()) << qUtf8Printable(audio.log());
    record(u"zoom"_s);
    ASSERT_TRUE(isUsedBy(u"us.zoom.xos"_s)) << qUtf8Printable(audio.log());
    clock.advance(10s);
    EXPECT_EQ(happened, QStringList{u"Zoom"_s});
    EXPECT_EQ(detector.activeApp(), u"Zoom"_s);
}

INSTANTIATE_TEST_SUITE_P(Calls, CallsOnServer,
                         testing::Values(PrivateAudioServer::Kind::pulseAudio,
                                         PrivateAudioServer::Kind::pipeWire),
                         [](const auto& info) {
                             return info.param == PrivateAudioServer::Kind::pulseAudio ? "pulseAudio"
                                                                                       : "pipeWire";
                         });

}  // namespace lumbro
