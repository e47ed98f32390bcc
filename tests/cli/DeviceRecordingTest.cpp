#include "tests/cli/CommandLine.h"
#include "tests/speech/SpeechData.h"
#include "tests/support/PrivateAudioServer.h"
#include "tests/support/SoundFile.h"
#include "tests/support/Wait.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <numeric>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;
using namespace std::chrono_literals;

namespace {

constexpr int rate = 16000;
/// Length of a step of an envelope.
constexpr int stepFrames = rate / 200;
constexpr double stepMilliseconds = 5;

const QString meSaid =
    u"and mister john dashwood had then leisure to consider how much there might be prudently in his power to do for them"_s;
const QString themSaid = u"he was not an ill disposed young man"_s;

/// How loud a file is at each step.
std::vector<double> envelope(const QString& file) {
    const std::vector<float> samples = soundOf(file);
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

std::span<const double> part(const std::vector<double>& steps, double from, double to) {
    const auto index = [&](double second) {
        return std::min(steps.size(), size_t(second * 1000 / stepMilliseconds));
    };
    return std::span(steps).subspan(index(from), index(to) - index(from));
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

/// After how many milliseconds of `recorded` the sound of `played` begins: where the two are most alike.
double delayOf(std::span<const double> played, std::span<const double> recorded) {
    size_t best = 0;
    double most = 0;
    for (size_t lag = 0; lag + played.size() <= recorded.size(); ++lag) {
        const double now = likeness(played, recorded.subspan(lag, played.size()));
        if (now > most) {
            most = now;
            best = lag;
        }
    }
    EXPECT_GT(most, 0.6) << "it was not recorded";
    return static_cast<double>(best) * stepMilliseconds;
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
            std::fprintf(stderr, "%s\n%s\n%s\n", qUtf8Printable(m_said), qUtf8Printable(m_server.log()),
                         m_line.home().read(u"Library/Logs/Quillet/handoff.log"_s).constData());
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
    /// Plays one side of the demo's call, each to some outputs, all from the same moment on.
    void play(const QList<std::pair<QString, QString>>& sides) {
        QString script;
        for (const auto& [side, sink] : sides) {
            script += u"paplay --device=%1 '%2' & "_s.arg(sink, CommandLine::demoSide(side));
        }
        m_server.run(u"/bin/sh"_s, {u"-c"_s, script + u"wait"_s});
    }
    /// Waits until so much of a track is in its file.
    bool hasRecorded(const QString& track, double seconds) {
        const QString captures = m_line.home().path(u"Quillet/captures"_s);
        const QString folder = QDir(captures).entryList(QDir::Dirs | QDir::NoDotAndDotDot).value(0);
        const QString file = captures + u'/' + folder + u'/' + track + u".caf"_s;
        return eventually([&] { return double(QFileInfo(file).size()) > seconds * rate * 2; }, 30s);
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
        return envelope(capture.value(u"audio"_s).toObject().value(track).toString());
    }

    PrivateAudioServer m_server{GetParam()};
    CommandLine m_line;
    QProcess m_record;
    QString m_said;
};

}  // namespace

TEST_P(DeviceRecording, aCallBecomesATranscriptWithNotesAndTracksOfOneTime) {
    const QJsonObject devices = m_line.run({u"devices"_s, u"--json"_s}).object();
    ASSERT_EQ(devices.value(u"microphones"_s).toArray().size(), 1) << "a monitor is no microphone";
    EXPECT_EQ(devices.value(u"microphones"_s).toArray().at(0).toObject().value(u"id"_s), u"virtmic"_s);
    EXPECT_EQ(devices.value(u"outputs"_s).toArray().size(), 2);

    startRecording({u"--mic"_s, u"virtmic"_s, u"--system"_s, u"speakers"_s});
    play({{u"me"_s, u"micfeed"_s}, {u"them"_s, u"speakers"_s}});
    // Until after the first words of the other side.
    ASSERT_TRUE(hasRecorded(u"them"_s, 12.5) && hasRecorded(u"me"_s, 12.5));
    const QJsonObject capture = stop();

    EXPECT_EQ(capture.value(u"title"_s), u"Weekly Sync"_s);
    EXPECT_EQ(capture.value(u"sources"_s).toArray(), QJsonArray({u"mic"_s, u"system"_s}));
    EXPECT_TRUE(capture.value(u"handoffs"_s).toObject().value(u"notes"_s).toString().contains(u"Summary"_s));
    const WordErrors me = wordErrors(meSaid, spoken(capture, u"Me"_s));
    const WordErrors them = wordErrors(themSaid, spoken(capture, u"Them"_s));
    EXPECT_LT(double(me.errors + them.errors) / (me.words + them.words), 0.6) << qPrintable(m_said);

    double delays[2] = {};
    for (const int side : {0, 1}) {
        const QString track = side == 0 ? u"me"_s : u"them"_s;
        const std::vector<double> played = envelope(CommandLine::demoSide(track));
        delays[side] = delayOf(part(played, 0, 11), recorded(capture, track));
    }
    std::printf("%d of %d words wrong, me is %.0f ms behind them\n", me.errors + them.errors,
                me.words + them.words, delays[0] - delays[1]);
    EXPECT_LT(std::abs(delays[0] - delays[1]), 100);
}

TEST_P(DeviceRecording, goesOnInTimeWhenDevicesChangeVanishAndComeBack) {
    m_server.addSink(u"headphones"_s);
    m_line.run({u"settings"_s, u"set"_s, u"microphoneDeviceUID"_s, u"unplugged"_s});
    startRecording({});
    EXPECT_TRUE(says(u"microphoneDeviceUID, \"unplugged\", isn't there"_s)) << qPrintable(m_said);
    play({{u"me"_s, u"micfeed"_s}, {u"me"_s, u"speakers"_s}, {u"me"_s, u"headphones"_s}});
    ASSERT_TRUE(hasRecorded(u"them"_s, 1.5));
    m_server.pactl({u"set-default-sink"_s, u"headphones"_s});
    // Now there are only monitors to record from, and they play.
    m_server.unload(u"module-remap-source"_s);
    EXPECT_TRUE(eventually([this] { return says(u"The output is now \""_s); }));
    EXPECT_TRUE(eventually([this] { return says(u"The microphone has gone"_s); }));
    ASSERT_TRUE(hasRecorded(u"them"_s, 4));
    m_server.addMicrophone(u"newmic"_s, u"micfeed"_s);
    EXPECT_TRUE(eventually([this] { return says(u"The microphone is now \""_s); }));
    ASSERT_TRUE(hasRecorded(u"me"_s, 8));
    const QJsonObject capture = stop();

    const std::vector<double> played = envelope(CommandLine::demoSide(u"me"_s));
    for (const QString& track : {u"me"_s, u"them"_s}) {
        SCOPED_TRACE(qUtf8Printable(track));
        const std::vector<double> heard = recorded(capture, track);
        const double before = delayOf(part(played, 0, 1.4), part(heard, 0, 2.4));
        const double after = delayOf(part(played, 6, 7), part(heard, 6, 8));
        std::printf("%s is %.0f ms late, after the change %.0f ms\n", qUtf8Printable(track), before, after);
        EXPECT_NEAR(after, before, 100);
        // What is said has no pause as long as the microphone was away.
        const auto silence =
            std::ranges::search_n(heard, 200, 0.001, [](double a, double limit) { return a < limit; });
        EXPECT_EQ(silence.empty(), track == u"them"_s);
    }
}

TEST_P(DeviceRecording, saysThatTheChosenMicrophoneHasGoneAndTakesTheDefaultAtOnce) {
    const QString chosen = m_server.addMicrophone(u"usbmic"_s, u"micfeed"_s);
    startRecording({u"--mic"_s, u"usbmic"_s, u"--system"_s, u"none"_s});
    play({{u"me"_s, u"micfeed"_s}});
    ASSERT_TRUE(hasRecorded(u"me"_s, 2.5));
    m_server.unload(chosen);
    EXPECT_TRUE(eventually([this] { return says(u" (usbmic) has gone. The microphone is now \""_s); }))
        << "both have one name, so that the id is told";
    ASSERT_TRUE(hasRecorded(u"me"_s, 7));
    const std::vector<double> heard = recorded(stop(), u"me"_s);
    const std::span<const double> later = part(heard, 2.5, 7);
    const auto silence =
        std::ranges::search_n(later, 180, 0.001, [](double a, double limit) { return a < limit; });
    EXPECT_TRUE(silence.empty()) << "nothing waits for a second attempt";
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
