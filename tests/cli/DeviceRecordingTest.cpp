#include "tests/audio/Tones.h"
#include "tests/cli/CommandLine.h"
#include "tests/speech/SpeechData.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/SoundFile.h"
#include "tests/support/Wait.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <numeric>
#include <optional>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

constexpr int rate = 16000;
/// Length of a step of an envelope.
constexpr int stepFrames = rate / 200;
constexpr double stepMilliseconds = 5;
/// Four seconds of steps.
constexpr size_t latest = 800;

const QString meSaid =
    u"and mister john dashwood had then leisure to consider how much there might be prudently in his power to do for them"_s;
const QString themSaid = u"he was not an ill disposed young man"_s;

/// How loud a sound is at each step.
std::vector<double> envelope(std::span<const float> samples) {
    std::vector<double> steps;
    for (size_t at = 0; at + stepFrames <= samples.size(); at += stepFrames) {
        double sum = 0;
        for (size_t i = at; i < at + stepFrames; ++i) {
            sum += double(samples[i]) * samples[i];
        }
        steps.push_back(std::sqrt(sum / stepFrames));
    }
    return steps;
}

/// How alike two pieces of the same length are, at most 1, however loud either is.
double likeness(std::span<const double> a, std::span<const double> b) {
    const auto mean = [](std::span<const double> steps) {
        return std::accumulate(steps.begin(), steps.end(), 0.0) / static_cast<double>(steps.size());
    };
    const double meanOfA = mean(a);
    const double meanOfB = mean(b);
    double ab = 0;
    double aa = 0;
    double bb = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const double x = a[i] - meanOfA;
        const double y = b[i] - meanOfB;
        ab += x * y;
        aa += x * x;
        bb += y * y;
    }
    return ab / std::sqrt(std::max(aa * bb, 1e-12));
}

/// By how many milliseconds `a` is behind `b`, of the moments in which both hold the same: the least. A
/// machine that can't keep up tears pieces out of either.
std::optional<double> delayOf(std::span<const double> a, std::span<const double> b) {
    constexpr size_t piece = 120;
    constexpr size_t most = 100;
    std::optional<double> least;
    for (size_t at = most; at + piece + most <= std::min(a.size(), b.size()); at += piece / 4) {
        size_t best = 0;
        double alike = 0;
        for (size_t lag = 0; lag <= 2 * most; ++lag) {
            const double now = likeness(b.subspan(at, piece), a.subspan(at - most + lag, piece));
            if (now > alike) {
                alike = now;
                best = lag;
            }
        }
        const double delay = (static_cast<double>(best) - static_cast<double>(most)) * stepMilliseconds;
        if (alike > 0.85 && (!least || std::abs(delay) < std::abs(*least))) {
            least = delay;
        }
    }
    return least;
}

/// The longest silence of a track while there is sound in the other one, in seconds.
double silenceWhere(const std::vector<double>& silent, const std::vector<double>& other) {
    size_t longest = 0;
    size_t now = 0;
    bool isHeard = false;
    for (size_t at = 0; at < std::min(silent.size(), other.size()); ++at) {
        const bool isSilent = silent[at] < 0.001;
        isHeard = isSilent && (isHeard || other[at] > 0.01);
        now = isSilent ? now + 1 : 0;
        longest = isHeard ? std::max(longest, now) : longest;
    }
    return static_cast<double>(longest) * stepMilliseconds / 1000;
}

QString spoken(const QJsonObject& capture, const QString& speaker) {
    QStringList texts;
    for (const auto& segment : capture.value(u"segments"_s).toArray()) {
        if (segment.toObject().value(u"speaker"_s) == speaker) {
            texts += segment.toObject().value(u"text"_s).toString();
        }
    }
    return texts.join(u' ');
}

/// How many words of what was said were understood. Sound with gaps costs words.
int rightWords(const QString& said, const QString& heard) {
    const std::vector<int> meant = alignWords(wordsOf(said), wordsOf(heard));
    return static_cast<int>(std::ranges::count_if(meant, [](int index) { return index >= 0; }));
}

/// `lumbro record` on the devices of a real audio server.
class DeviceRecording : public testing::TestWithParam<PrivateAudioServer::Kind> {
  protected:
    void SetUp() override {
        if (!PrivateAudioServer::isInstalled(GetParam())) {
            GTEST_SKIP() << "the audio server's programs are not installed";
        }
        ASSERT_TRUE(m_server.start() && m_server.addRoom()) << qUtf8Printable(m_server.log());
        m_line.set(u"PULSE_SERVER"_s, qEnvironmentVariable("PULSE_SERVER"));
        m_line.installAgent();
    }
    void TearDown() override {
        m_record.kill();
        m_record.waitForFinished(-1);
        if (HasFailure()) {
            std::fprintf(stderr, "%s\n%s\n%s\n%s\n", qUtf8Printable(m_server.log()),
                         m_line.home().read(u"Library/Logs/Quillet/handoff.log"_s).constData(),
                         qUtf8Printable(m_server.defaults()), qUtf8Printable(m_said));
        }
    }

    void startRecording(const QStringList& options) {
        m_record.setProcessEnvironment(m_line.environment());
        m_record.start(CommandLine::program(), QStringList{u"record"_s} + options);
        ASSERT_TRUE(eventually([this] { return says(u"Recording. Ctrl-C"_s); }));
    }
    bool says(const QString& words) {
        m_said += QString::fromUtf8(m_record.readAllStandardError());
        return m_said.contains(words);
    }
    /// Makes it the default output, and waits until the recording has said for so many times in all that the
    /// output is another one.
    bool followsTo(const QString& output, qsizetype times) {
        return m_server.setDefault(u"sink"_s, output) &&
               eventually([&] { return says({}) && m_said.count(u"The output is now \""_s) == times; });
    }
    /// A sound file with the first seconds of a side of the demo's call, and silence after them.
    QString beginning(const QString& side, double seconds, double silence) {
        std::vector<float> samples = soundOf(CommandLine::demoSide(side));
        samples.resize(size_t(seconds * rate));
        samples.resize(size_t((seconds + silence) * rate));
        m_line.home().write(side + u".wav"_s, wav(samples, rate, 1));
        return m_line.home().path(side + u".wav"_s);
    }
    QString track(const QString& name) const {
        const QString captures = m_line.home().path(u"Quillet/captures"_s);
        const QString folder = QDir(captures).entryList(QDir::Dirs | QDir::NoDotAndDotDot).value(0);
        return captures + u'/' + folder + u'/' + name + u".caf"_s;
    }
    /// Waits until so much more of a track is in its file.
    bool recordsMore(const QString& name, double seconds) const {
        const qint64 goal = QFileInfo(track(name)).size() + qint64(seconds * rate * 2);
        return eventually([&] { return QFileInfo(track(name)).size() >= goal; });
    }
    /// Waits until both tracks hold the same at the same time, in the latest seconds of either.
    bool areTogether() const {
        std::optional<double> delay;
        const bool isSo = eventually([&] {
            const std::vector<double> me = envelope(trackSamples(track(u"me"_s)));
            const std::vector<double> them = envelope(trackSamples(track(u"them"_s)));
            const size_t end = std::min(me.size(), them.size());
            const size_t begin = end - std::min(end, latest);
            delay = delayOf(std::span(me).subspan(begin, end - begin),
                            std::span(them).subspan(begin, end - begin));
            return delay && std::abs(*delay) < 100;
        });
        std::printf("me is %.0f ms behind them\n", delay.value_or(-1e9));
        return isSo;
    }
    /// Ctrl-C, and the finished capture.
    QJsonObject stop() {
        ::kill(pid_t(m_record.processId()), SIGINT);
        m_record.waitForFinished(-1);
        says({});
        EXPECT_EQ(m_record.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(m_record.exitCode(), 0);
        QJsonObject capture = m_line.run({u"show"_s, u"last"_s, u"--json"_s}).object();
        EXPECT_EQ(QString::fromUtf8(m_record.readAllStandardOutput()),
                  capture.value(u"id"_s).toString() + u'\n');
        return capture;
    }
    std::vector<double> recorded(const QJsonObject& capture, const QString& track) {
        return envelope(soundOf(capture.value(u"audio"_s).toObject().value(track).toString()));
    }

    PrivateAudioServer m_server{GetParam()};
    CommandLine m_line;
    QProcess m_record;
    QString m_said;
};

}  // namespace

TEST_P(DeviceRecording, aCallBecomesATranscriptWithNotes) {
    const QJsonObject devices = m_line.run({u"devices"_s, u"--json"_s}).object();
    ASSERT_EQ(devices.value(u"microphones"_s).toArray().size(), 1) << "a monitor is no microphone";
    EXPECT_EQ(devices.value(u"microphones"_s).toArray().at(0).toObject().value(u"id"_s), u"virtmic"_s);
    EXPECT_EQ(devices.value(u"outputs"_s).toArray().size(), 2);

    startRecording({u"--mic"_s, u"virtmic"_s, u"--system"_s, u"speakers"_s});
    // Until after the first words of the other side.
    Program& mine = m_server.run(u"paplay"_s, {u"--device=micfeed"_s, beginning(u"me"_s, 12.5, 2)});
    Program& theirs = m_server.run(u"paplay"_s, {u"--device=speakers"_s, beginning(u"them"_s, 12.5, 2)});
    ASSERT_TRUE(eventually([&] { return mine.wait(0ms) && theirs.wait(0ms); }, 3min));
    ASSERT_TRUE(recordsMore(u"them"_s, 0.5) && recordsMore(u"me"_s, 0.5));
    const QJsonObject capture = stop();

    EXPECT_EQ(capture.value(u"title"_s), u"Weekly Sync"_s);
    EXPECT_EQ(capture.value(u"sources"_s).toArray(), QJsonArray({u"mic"_s, u"system"_s}));
    EXPECT_TRUE(capture.value(u"handoffs"_s).toObject().value(u"notes"_s).toString().contains(u"Summary"_s));
    const QString me = spoken(capture, u"Me"_s);
    const QString them = spoken(capture, u"Them"_s);
    std::printf("%d and %d words right\n", rightWords(meSaid, me), rightWords(themSaid, them));
    EXPECT_GE(rightWords(meSaid, me), 4) << qPrintable(m_said);
    EXPECT_GE(rightWords(themSaid, them), 2) << qPrintable(m_said);
    EXPECT_GT(rightWords(meSaid, me) + rightWords(themSaid, them),
              rightWords(meSaid, them) + rightWords(themSaid, me));
}

TEST_P(DeviceRecording, goesOnInTimeWhenDevicesChangeVanishAndComeBack) {
    // The microphone hears the speakers, so the same is in both tracks, however it is played.
    m_server.addSink(u"headphones"_s);
    ASSERT_TRUE(m_server.unload(u"module-remap-source"_s));
    const QString microphone = m_server.addMicrophone(u"room"_s, u"speakers"_s);
    ASSERT_TRUE(m_server.setDefault(u"source"_s, u"room"_s));
    m_line.run({u"settings"_s, u"set"_s, u"microphoneDeviceUID"_s, u"unplugged"_s});
    m_server.play(beginning(u"me"_s, 7, 0), u"speakers"_s);
    startRecording({});
    EXPECT_TRUE(says(u"microphoneDeviceUID, \"unplugged\", isn't there"_s)) << qPrintable(m_said);
    ASSERT_TRUE(recordsMore(u"them"_s, 4) && recordsMore(u"me"_s, 0.5));
    EXPECT_TRUE(areTogether());

    EXPECT_TRUE(followsTo(u"headphones"_s, 1));
    ASSERT_TRUE(recordsMore(u"me"_s, 3));
    EXPECT_TRUE(followsTo(u"speakers"_s, 2));
    // Now there are only monitors to record from, and they play.
    ASSERT_TRUE(m_server.unload(microphone));
    EXPECT_TRUE(eventually([this] { return says(u"The microphone has gone"_s); }));
    ASSERT_TRUE(recordsMore(u"them"_s, 3));
    m_server.addMicrophone(u"newmic"_s, u"speakers"_s);
    EXPECT_TRUE(eventually([this] { return says(u"The microphone is now \""_s); }));
    ASSERT_TRUE(recordsMore(u"me"_s, 5) && recordsMore(u"them"_s, 1));
    EXPECT_TRUE(areTogether());
    const QJsonObject capture = stop();

    const std::vector<double> me = recorded(capture, u"me"_s);
    const std::vector<double> them = recorded(capture, u"them"_s);
    EXPECT_GT(silenceWhere(me, them), 1.5) << "while the microphone was away";
}

TEST_P(DeviceRecording, saysThatTheChosenMicrophoneHasGoneAndTakesTheDefaultAtOnce) {
    const QString chosen = m_server.addMicrophone(u"usbmic"_s, u"micfeed"_s);
    startRecording({u"--mic"_s, u"usbmic"_s, u"--system"_s, u"none"_s});
    m_server.play(beginning(u"me"_s, 7, 0), u"micfeed"_s);
    ASSERT_TRUE(recordsMore(u"me"_s, 2.5));
    ASSERT_TRUE(m_server.unload(chosen));
    EXPECT_TRUE(eventually([this] { return says(u" (usbmic) has gone. The microphone is now \""_s); }))
        << "both have one name, so that the id is told";
    ASSERT_TRUE(recordsMore(u"me"_s, 4));
    const std::vector<double> heard = recorded(stop(), u"me"_s);
    const std::span<const double> later = std::span(heard).last(400);
    EXPECT_GT(*std::ranges::max_element(later), 0.01) << "it goes on";
    EXPECT_FALSE(m_line.home().read(u"Library/Logs/Quillet/handoff.log"_s).contains("No such entity"))
        << "nothing waits for a second attempt";
}

TEST_P(DeviceRecording, refusesANameThatSeveralOutputsHave) {
    for (const QString& id : {u"left"_s, u"right"_s}) {
        m_server.pactl({u"load-module"_s, u"module-null-sink"_s, u"sink_name="_s + id,
                        u"sink_properties=device.description=Screen"_s});
    }
    const Finished run = m_line.run({u"record"_s, u"--system"_s, u"Screen"_s});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.errors.contains(u"2 devices are called \"Screen\"; give the id of one: "_s))
        << qPrintable(run.errors);
}

INSTANTIATE_TEST_SUITE_P(Devices, DeviceRecording,
                         testing::Values(PrivateAudioServer::Kind::pulseAudio,
                                         PrivateAudioServer::Kind::pipeWire),
                         [](const auto& info) {
                             return info.param == PrivateAudioServer::Kind::pulseAudio ? "pulseAudio"
                                                                                       : "pipeWire";
                         });
