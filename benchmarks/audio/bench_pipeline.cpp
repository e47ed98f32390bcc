// One hour of a 48 kHz stereo device through a track's pipeline, against ffmpeg doing the same conversion
// with the same resampler. Both read a file of one minute sixty times.

#include "Comparison.h"
#include "recording/audio/TrackPipeline.h"

#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <string_view>

#include <fcntl.h>
#include <unistd.h>

using namespace lumbro;

namespace {

constexpr int rate = 48000;
constexpr int channels = 2;
constexpr int minutes = 60;
constexpr size_t framesAtOnce = 1024;

int work(const char* input, const char* output) {
    const int file = ::open(input, O_RDONLY | O_CLOEXEC);
    std::vector<float> buffer(framesAtOnce * channels);
    double sum = 0;
    TrackPipeline pipeline(
        QString::fromLocal8Bit(output), [&](std::span<const float> samples, float) { sum += samples[0]; },
        [&](float level) { sum += level; });
    for (int minute = 0; minute < minutes; ++minute) {
        ::lseek(file, 0, SEEK_SET);
        ssize_t bytes = 0;
        while ((bytes = ::read(file, buffer.data(), buffer.size() * sizeof(float))) > 0) {
            pipeline.ingest(
                {{rate, channels}, std::span(buffer).first(static_cast<size_t>(bytes) / sizeof(float))});
        }
    }
    ::close(file);
    pipeline.close();
    return pipeline.secondsIngested() > minutes * 59 ? 0 : 1;
}

int make(const char* input) {
    const std::vector<float> samples = bench::speechLike(rate, channels);
    QFile file(QString::fromLocal8Bit(input));
    const auto bytes = static_cast<qint64>(samples.size() * sizeof(float));
    return file.open(QIODevice::WriteOnly) &&
                   file.write(reinterpret_cast<const char*>(samples.data()), bytes) == bytes
               ? 0
               : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "make") {
        return make(argv[2]);
    }
    if (argc == 3) {
        return work(argv[1], argv[2]);
    }
    const QTemporaryDir folder;
    const std::string input = folder.filePath(u"in.raw"_s).toStdString();
    // In a process of its own, since a child inherits the peak memory of its parent.
    if (!bench::run({bench::self(), "make", input}).succeeded) {
        return 1;
    }
    const auto comparison =
        bench::compare({bench::self(), input, folder.filePath(u"ours.caf"_s).toStdString()},
                       {"ffmpeg",
                        "-nostdin",
                        "-v",
                        "error",
                        "-y",
                        "-stream_loop",
                        std::to_string(minutes - 1),
                        "-f",
                        "f32le",
                        "-ar",
                        std::to_string(rate),
                        "-ac",
                        std::to_string(channels),
                        "-i",
                        input,
                        "-af",
                        "aresample=osr=16000:ocl=mono:osf=s16:resampler=soxr",
                        "-c:a",
                        "pcm_s16le",
                        folder.filePath(u"peer.caf"_s).toStdString()},
                       3);
    return bench::report("recording an hour of one track", comparison, 1.0, 30);
}
