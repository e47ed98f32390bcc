// Packing a track of one hour, against ffmpeg with the same encoder and bit rate.

#include "Comparison.h"
#include "recording/audio/AudioArchive.h"
#include "recording/audio/TrackPipeline.h"

#include <QString>
#include <QTemporaryDir>

#include <cstdio>
#include <string_view>

#include <unistd.h>

using namespace lumbro;

namespace {

constexpr int minutes = 60;

/// Packing deletes the recording, so it works on a second name of it.
int work(const char* recording, const char* copy) {
    ::unlink(copy);
    if (::link(recording, copy) != 0) {
        return 1;
    }
    return audioArchive::pack(QString::fromLocal8Bit(copy)) ? 0 : 1;
}

int make(const char* recording) {
    const std::vector<float> minute = bench::speechLike(TrackPipeline::sampleRate, 1);
    TrackPipeline pipeline(QString::fromLocal8Bit(recording), {}, {});
    for (int i = 0; i < minutes; ++i) {
        pipeline.ingest({{TrackPipeline::sampleRate, 1}, minute});
    }
    pipeline.close();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "load") {
        return 0;
    }
    if (argc == 3 && std::string_view(argv[1]) == "make") {
        return make(argv[2]);
    }
    if (argc == 3) {
        return work(argv[1], argv[2]);
    }
    const QTemporaryDir folder;
    qputenv("HOME", folder.path().toUtf8());
    const std::string input = folder.filePath(u"hour.caf"_s).toStdString();
    // In a process of its own, since a child inherits the peak memory of its parent.
    if (!bench::run({bench::self(), "make", input}).succeeded) {
        return 1;
    }
    // The encoder's library brings more than a hundred others with it.
    const bench::Usage loaded = bench::run({bench::self(), "load"});
    std::printf(
        "{\"name\": \"packing: a program that only loads the same libraries, peak memory\", \"value\": %.1f, "
        "\"unit\": \"MB\"}\n",
        loaded.peakMegabytes);
    const auto comparison =
        bench::compare({bench::self(), input, folder.filePath(u"me.caf"_s).toStdString()},
                       {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", input, "-c:a", "aac", "-b:a", "32k",
                        "-ar", "16000", "-ac", "1", folder.filePath(u"peer.m4a"_s).toStdString()},
                       3);
    return bench::report("packing an hour of one track", comparison, 1.05, 30);
}
