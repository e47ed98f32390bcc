// Recordings that somebody imports: any file, through the demuxers and decoders of the media library.
#include "Check.h"
#include "recording/audio/MediaReader.h"

#include <cmath>

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::File file(data, size, QStringLiteral("media"));
    MediaReader reader;
    if (!reader.open(file.path())) {
        return 0;
    }
    fuzz::check(reader.format().channels > 0 && reader.format().rate > 0);
    fuzz::check(std::isfinite(reader.duration()) && reader.duration() >= 0);
    constexpr size_t enough = 1 << 20;
    size_t samples = 0;
    while (samples < enough) {
        const auto piece = reader.read();
        if (!piece) {
            break;
        }
        fuzz::check(piece->size() % static_cast<size_t>(reader.format().channels) == 0);
        samples += piece->size();
    }
    return 0;
}
