// A track's .caf file, also one whose writer was killed.
#include "Check.h"
#include "recording/audio/CafReader.h"

#include <array>
#include <cmath>

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::File file(data, size, QStringLiteral("caf"));
    CafReader reader;
    if (!reader.open(file.path())) {
        return 0;
    }
    fuzz::check(reader.frames() >= 0 && reader.frames() <= static_cast<qint64>(size) / 2);
    std::array<float, 4096> samples{};
    qint64 frames = 0;
    for (;;) {
        const Result<size_t> got = reader.read(samples);
        if (!got || *got == 0) {
            break;
        }
        frames += static_cast<qint64>(*got);
        fuzz::check(frames <= reader.frames());
        for (size_t i = 0; i < *got; ++i) {
            fuzz::check(std::abs(samples[i]) <= 1.0F);
        }
    }
    return 0;
}
