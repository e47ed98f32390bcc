#include "platform/fake/FakeAudioServer.h"
#include "recording/audio/MicSource.h"
#include "recording/audio/MicrophoneDevices.h"
#include "recording/audio/SystemAudioSource.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;
using Kind = AudioStreamRequest::Kind;

namespace {

class Sources : public testing::Test {
  protected:
    AudioSource::Consumer counting() {
        return [this](const AudioBuffer&) { ++m_buffers; };
    }
    void feed(Kind kind) { m_server.feed(kind, std::vector<float>(64)); }
    /// The seconds at which streams of a kind were asked for, while the clock runs that long.
    QList<double> attempts(Clock::Duration during) {
        QList<double> times;
        const auto begin = m_clock.elapsed();
        for (auto seen = m_server.requests().size(); m_clock.elapsed() - begin < during;) {
            m_clock.advance(100ms);
            for (; seen < m_server.requests().size(); ++seen) {
                times.append(std::chrono::duration<double>(m_clock.elapsed() - begin).count());
            }
        }
        return times;
    }
    void setDefaultOutput(const QString& id) {
        AudioServerState state = FakeAudioServer::usualState();
        state.outputs = {{id, id, true, id + u".monitor"_s}};
        m_server.set(state);
    }

    test::ScratchFolder m_folder;
    Settings m_settings{m_folder.path(u"Lumbro.ini"_s)};
    test::TestClock m_clock;
    FakeAudioServer m_server;
    int m_buffers = 0;
};

}  // namespace

TEST(MicrophoneDevices, areSortedAsInAFileManagerAndAMissingChoiceIsTheDefault) {
    FakeAudioServer server;
    AudioServerState state;
    state.microphones = {{u"d"_s, u"Mic 10"_s, false, {}},
                         {u"c"_s, u"mic 9"_s, true, {}},
                         {u"b"_s, u"Über Mic"_s, false, {}},
                         {u"a"_s, u"Headset"_s, false, {}}};
    server.set(state);
    const QList<AudioDevice> devices = microphoneDevices::available(server);
    QStringList order;
    for (const AudioDevice& device : devices) {
        order.append(device.id);
    }
    EXPECT_EQ(order.join(u' '), u"a c d b"_s);
    EXPECT_EQ(microphoneDevices::resolve(u"d"_s, devices, u"c"_s), u"d"_s);
    EXPECT_EQ(microphoneDevices::resolve(u"gone"_s, devices, u"c"_s), u"c"_s);
    EXPECT_EQ(microphoneDevices::resolve({}, {{QString(), u"nameless"_s, false, {}}}, u"c"_s), u"c"_s);
}

TEST_F(Sources, theChosenMicrophoneIsUsedAndAMissingOneMeansTheDefault) {
    AudioServerState state = FakeAudioServer::usualState();
    state.microphones.append({u"usb"_s, u"USB Microphone"_s, false, {}});
    m_server.set(state);
    const std::vector<std::pair<QString, QString>> rows = {
        {u""_s, u""_s}, {u"usb"_s, u"usb"_s}, {u"mic"_s, u"mic"_s}, {u"unplugged"_s, u""_s}};
    for (const auto& [setting, device] : rows) {
        m_settings.set(u"microphoneDeviceUID"_s, setting);
        MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
        ASSERT_TRUE(test::wait(mic.start(counting())));
        EXPECT_EQ(m_server.requests().last(), (AudioStreamRequest{Kind::microphone, device}));
    }
    EXPECT_EQ(m_server.openStreams(Kind::microphone), 0);
}

TEST_F(Sources, theFailuresOfTheMicrophoneAreSentences) {
    const auto words = [this] {
        MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
        const auto started = test::wait(mic.start(counting()));
        return started ? QString() : started.error().message;
    };
    m_server.failures = 1;
    m_server.failureReason = u"Device busy"_s;
    EXPECT_EQ(words(), u"Couldn't start the microphone: Device busy"_s);
    m_server.set({});
    EXPECT_EQ(words(), u"Couldn't start the microphone: no input device"_s);
    m_server.isRunning = false;
    EXPECT_EQ(words(), u"Couldn't start the microphone: no audio server"_s);
}

TEST_F(Sources, aMicrophoneWhoseRouteChangesStartsAgainInFiveAttempts) {
    MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
    ASSERT_TRUE(test::wait(mic.start(counting())));
    m_server.changeConfiguration(Kind::microphone);
    EXPECT_EQ(m_server.requests().size(), 2);
    feed(Kind::microphone);
    EXPECT_EQ(m_buffers, 1);

    m_server.failures = 100;
    m_server.breakStreams(Kind::microphone, u"gone"_s);
    EXPECT_EQ(m_server.requests().size(), 3);
    EXPECT_EQ(attempts(30s), (QList<double>{1, 3, 6, 10}));
    EXPECT_EQ(m_server.openStreams(Kind::microphone), 0);
    mic.stop();
}

TEST_F(Sources, aChosenMicrophoneThatHasJustGoneIsReplacedAtOnce) {
    AudioServerState state = FakeAudioServer::usualState();
    state.microphones.append({u"usb"_s, u"USB Microphone"_s, false, {}});
    m_server.set(state);
    m_settings.set(u"microphoneDeviceUID"_s, u"usb"_s);
    MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
    ASSERT_TRUE(test::wait(mic.start(counting())));
    // The stream ends before the list of devices is a new one.
    m_server.gone = u"usb"_s;
    m_server.breakStreams(Kind::microphone, u"gone"_s);
    EXPECT_EQ(m_server.openStreams(Kind::microphone), 1);
    EXPECT_EQ(m_server.requests().last().deviceID, QString());
    feed(Kind::microphone);
    EXPECT_EQ(m_buffers, 1);
}

TEST_F(Sources, aMicrophoneThatComesLateIsTaken) {
    MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
    ASSERT_TRUE(test::wait(mic.start(counting())));
    AudioServerState state = FakeAudioServer::usualState();
    state.microphones.clear();
    m_server.set(state);
    m_server.breakStreams(Kind::microphone, u"gone"_s);
    m_clock.advance(60s);
    EXPECT_EQ(m_server.openStreams(Kind::microphone), 0);
    m_server.set(FakeAudioServer::usualState());
    EXPECT_EQ(m_server.openStreams(Kind::microphone), 1);
    // One that is being recorded is not opened again: the server moves it.
    state.microphones = {{u"usb"_s, u"USB Microphone"_s, true, {}}};
    m_server.set(state);
    EXPECT_EQ(m_server.requests().size(), 2);
}

TEST_F(Sources, aStoppedMicrophoneDoesNotStartAgain) {
    MicSource mic(m_server, m_clock, m_settings, u"capture-mic"_s);
    ASSERT_TRUE(test::wait(mic.start(counting())));
    m_server.failures = 100;
    m_server.changeConfiguration(Kind::microphone);
    mic.stop();
    mic.stop();
    EXPECT_EQ(attempts(10s).size(), 0);
    EXPECT_EQ(m_clock.timerCount(), 0U);
    feed(Kind::microphone);
    EXPECT_EQ(m_buffers, 0);
}

TEST_F(Sources, aBurstOfOutputChangesGivesOneRebuild) {
    SystemAudioSource system(m_server, m_clock);
    ASSERT_TRUE(test::wait(system.start(counting())));
    EXPECT_EQ(m_server.requests().last(), (AudioStreamRequest{Kind::output, u"speakers"_s}));
    for (const QString& output : {u"a"_s, u"b"_s, u"headphones"_s}) {
        setDefaultOutput(output);
        m_clock.advance(100ms);
    }
    EXPECT_EQ(attempts(5s), (QList<double>{0.4}));
    EXPECT_EQ(m_server.requests().last().deviceID, u"headphones"_s);
    feed(Kind::output);
    EXPECT_EQ(m_buffers, 1);
}

TEST_F(Sources, systemAudioIsRebuiltInFiveAttemptsAndTheNextEventCountsAnew) {
    SystemAudioSource system(m_server, m_clock);
    ASSERT_TRUE(test::wait(system.start(counting())));
    m_server.failures = 5;
    m_server.breakStreams(Kind::output, u"gone"_s);
    EXPECT_EQ(attempts(30s), (QList<double>{0.5, 1.5, 3.5, 6.5, 10.5}));
    m_server.failures = 1;
    setDefaultOutput(u"headphones"_s);
    EXPECT_EQ(attempts(10s), (QList<double>{0.5, 1.5}));
    EXPECT_EQ(m_server.openStreams(Kind::output), 1);
}

TEST_F(Sources, aChosenOutputIsTakenWhateverTheDefaultIsAndAgainWhenItComesBack) {
    AudioServerState state = FakeAudioServer::usualState();
    state.outputs.append({u"dock"_s, u"Dock"_s, false, u"dock.monitor"_s});
    m_server.set(state);
    SystemAudioSource system(m_server, m_clock, u"dock"_s);
    ASSERT_TRUE(test::wait(system.start(counting())));
    EXPECT_EQ(m_server.requests().last().deviceID, u"dock"_s);
    setDefaultOutput(u"headphones"_s);
    EXPECT_EQ(attempts(5s).size(), 0);
    m_server.failures = 5;
    m_server.breakStreams(Kind::output, u"gone"_s);
    EXPECT_EQ(attempts(60s).size(), 5);
    setDefaultOutput(u"speakers"_s);
    EXPECT_EQ(attempts(5s).size(), 0);
    m_server.set(state);
    EXPECT_EQ(attempts(5s), (QList<double>{0.5}));
    feed(Kind::output);
    EXPECT_EQ(m_buffers, 1);
}

TEST_F(Sources, stopCancelsAWaitingRebuild) {
    SystemAudioSource system(m_server, m_clock);
    ASSERT_TRUE(test::wait(system.start(counting())));
    setDefaultOutput(u"headphones"_s);
    system.stop();
    system.stop();
    setDefaultOutput(u"speakers"_s);
    EXPECT_EQ(attempts(5s).size(), 0);
    EXPECT_EQ(m_server.openStreams(Kind::output), 0);
}

TEST_F(Sources, theFailuresOfSystemAudioAreSentences) {
    const auto words = [this](AudioSource::Consumer consumer) {
        SystemAudioSource system(m_server, m_clock);
        const auto started = test::wait(system.start(std::move(consumer)));
        return started ? QString() : started.error().message;
    };
    EXPECT_EQ(words({}), u"System audio unavailable: no consumer"_s);
    m_server.failures = 1;
    m_server.failureReason = u"Access denied"_s;
    EXPECT_EQ(words(counting()),
              u"System audio unavailable: permission denied or device busy (Access denied)"_s);
    m_server.set({});
    EXPECT_EQ(words(counting()), u"System audio unavailable: no output device"_s);
    m_server.isRunning = false;
    EXPECT_EQ(words(counting()), u"System audio unavailable: no audio server"_s);
}
