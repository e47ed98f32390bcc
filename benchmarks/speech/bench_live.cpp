// What the live transcript of a two-party call costs, how late its words come, and how many are wrong.
//
// usage: bench_live [--seconds N] [--minutes N] [--only live|hour|words]
//
// The live call of --seconds runs in real time; the long one of --minutes is fed as fast as it is recognised.

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "benchmarks/speech/LiveCall.h"
#include "tests/speech/SpeechData.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace lumbro::bench {

namespace {

using speech::PocketsphinxRecognizer;

void report(const char* name, double value, double limit, const char* unit) {
    std::printf("{\"name\": \"%s\", \"value\": %.3f, \"limit\": %.3f, \"unit\": \"%s\"}\n", name, value,
                limit, unit);
    std::fflush(stdout);
}

double residentMegabytes() {
    const QByteArray status = readFile(u"/proc/self/statm"_s).value_or(QByteArray());
    return status.split(' ').value(1).toDouble() * 4096 / 1e6;
}

double cpuSeconds() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return double(used.tv_sec) + double(used.tv_nsec) / 1e9;
}

double percentile(std::vector<double> values, double share) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    std::ranges::sort(values);
    return values.empty()
               ? std::nan("")
               : values[std::min(values.size() - 1, static_cast<size_t>(share * double(values.size())))];
}

std::array<LiveTrack, 2> callTracks(double seconds) {
    const auto me = test::readWav(test::speechData(u"call_me.wav"_s));
    const auto them = test::readWav(test::speechData(u"call_them.wav"_s));
    return {LiveTrack(me, callClips(u"me"_s, me), seconds),
            LiveTrack(them, callClips(u"them"_s, them), seconds)};
}

/// Runs the event loop, calling `step` often, until it says that all is done.
void drive(const std::function<bool()>& step) {
    QEventLoop loop;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        if (step()) {
            loop.quit();
        }
    });
    timer.start(10);
    loop.exec();
}

void live(double seconds) {
    PocketsphinxRecognizer recognizer;
    auto tracks = callTracks(seconds);
    for (LiveTrack& track : tracks) {
        track.open(recognizer);
    }
    const double cpuBefore = cpuSeconds();
    QElapsedTimer clock;
    clock.start();
    for (LiveTrack& track : tracks) {
        track.startClock();
    }
    drive([&] {
        const double now = double(clock.elapsed()) / 1000;
        for (LiveTrack& track : tracks) {
            track.feedUpTo(now);
        }
        return now >= seconds;
    });
    report("live call, two tracks: processor", (cpuSeconds() - cpuBefore) / (double(clock.elapsed()) / 1000),
           0.45, "cores");
    report("live call, two tracks: memory", residentMegabytes(), 350, "MB");
    for (LiveTrack& track : tracks) {
        track.finish();
    }
    drive([&] { return tracks[0].isEnded() && tracks[1].isEnded(); });
    std::vector<double> words;
    std::vector<double> finals;
    for (const LiveTrack& track : tracks) {
        std::ranges::copy(track.wordDelays(), std::back_inserter(words));
        std::ranges::copy(track.finalDelays(), std::back_inserter(finals));
    }
    report("live call: a guessed word after it was spoken, p50", percentile(words, 0.5), 0.6, "s");
    report("live call: a guessed word after it was spoken, p95", percentile(words, 0.95), 1.2, "s");
    report("live call: a final line after the utterance's end, p50", percentile(finals, 0.5), 0.8, "s");
    report("live call: a final line after the utterance's end, p95", percentile(finals, 0.95), 0.8, "s");
    const auto errors = test::wordErrors(tracks[0].referenceText() + u' ' + tracks[1].referenceText(),
                                         tracks[0].finalText() + u' ' + tracks[1].finalText());
    report("live call: word errors", errors.rate() * 100, 33, "%");
}

/// Feeds as fast as the recogniser works, keeping little ahead of it.
void feedAhead(std::span<LiveTrack> tracks, const std::function<void(double)>& onProgress) {
    for (LiveTrack& track : tracks) {
        track.startClock();
    }
    drive([&] {
        bool isDone = true;
        for (LiveTrack& track : tracks) {
            if (track.fedSeconds() < track.seconds()) {
                track.feedUpTo(track.backlog() < 10 ? track.fedSeconds() + 5 : 0);
                if (track.fedSeconds() >= track.seconds()) {
                    track.finish();
                }
            }
            isDone = isDone && track.isEnded();
        }
        onProgress(tracks.front().fedSeconds());
        return isDone;
    });
}

void hour(double minutes) {
    PocketsphinxRecognizer recognizer;
    auto tracks = callTracks(minutes * 60);
    for (LiveTrack& track : tracks) {
        track.open(recognizer);
    }
    // The first minutes fill the caches of the model and the heap; growth counts from there.
    const double warm = std::min(5.0, minutes / 4) * 60;
    double before = 0;
    feedAhead(tracks, [&](double fed) {
        if (before == 0 && fed >= warm) {
            before = residentMegabytes();
        }
    });
    const QByteArray name =
        u"live call: memory growth in %1 minutes, fed faster than they last"_s.arg(minutes).toUtf8();
    report(name.constData(), residentMegabytes() - before, 5, "MB");
}

void words() {
    const QByteArray table = readFile(test::speechData(u"transcripts.tsv"_s)).value_or(QByteArray());
    std::vector<float> samples;
    std::vector<SpokenClip> clips;
    for (const QByteArray& line : table.split('\n')) {
        const auto fields = line.split('\t');
        if (fields.size() != 2) {
            continue;
        }
        const auto clip = test::readWav(test::speechData(QString::fromUtf8(fields[0]) + u".wav"_s));
        samples.insert(samples.end(), clip.begin(), clip.end());
        samples.resize(samples.size() + static_cast<size_t>(0.8 * speech::sampleRate));
        clips.push_back({0, -10, test::wordsOf(QString::fromUtf8(fields[1]))});
    }
    PocketsphinxRecognizer recognizer;
    std::array tracks{LiveTrack(samples, clips, double(samples.size()) / speech::sampleRate)};
    tracks[0].open(recognizer);
    feedAhead(tracks, [](double) {});
    const auto errors = test::wordErrors(tracks[0].referenceText(), tracks[0].finalText());
    report("evaluation set: word errors", errors.rate() * 100, 33, "%");
    if (qEnvironmentVariableIsSet("LUMBRO_BENCH_SHOW")) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(tracks[0].finalText()));
    }
}

int run(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOption({u"seconds"_s, u"length of the live call"_s, u"n"_s, u"60"_s});
    parser.addOption(
        {u"minutes"_s, u"length of the long call, which is fed faster than real time"_s, u"n"_s, u"60"_s});
    parser.addOption({u"only"_s, u"live, hour or words"_s, u"part"_s});
    parser.process(arguments);
    if (test::speechData(u"call_me.wav"_s).isEmpty() || !PocketsphinxRecognizer::isInstalled()) {
        std::fprintf(stderr, "bench_live: skipped, the evaluation set or the speech model is not here\n");
        return 0;
    }
    const QString only = parser.value(u"only"_s);
    if (only.isEmpty() || only == u"words"_s) {
        words();
    }
    if (only.isEmpty() || only == u"live"_s) {
        live(parser.value(u"seconds"_s).toDouble());
    }
    if (only.isEmpty() || only == u"hour"_s) {
        hour(parser.value(u"minutes"_s).toDouble());
    }
    return 0;
}

}  // namespace

}  // namespace lumbro::bench

int main(int argc, char** argv) {
    const QCoreApplication app(argc, argv);
    return lumbro::bench::run(QCoreApplication::arguments());
}
