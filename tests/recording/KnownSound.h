#pragma once

#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

/// A sound from which one can tell where in it a piece of audio is: every second has a tone of its own.
namespace lumbro::test::knownSound {

inline constexpr int rate = 16000;

/// Tone of a second, in cycles per second. The second track's differ from the first's.
inline double tone(int second, int track) {
    return 300 + 40 * (second % 24) + (track == 0 ? 0 : 20);
}

/// Samples from `begin` on.
inline std::vector<float> samples(qint64 begin, size_t count, int track) {
    std::vector<float> out(count);
    for (size_t i = 0; i < count; ++i) {
        const qint64 at = begin + static_cast<qint64>(i);
        const double phase = tone(static_cast<int>(at / rate), track) * static_cast<double>(at % rate) / rate;
        out[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * phase));
    }
    return out;
}

/// Seconds at the start of `heard` that hold the right tone in their middle.
inline int rightSeconds(std::span<const float> heard, int track) {
    constexpr size_t begin = rate / 4;
    constexpr size_t length = rate / 2;
    int second = 0;
    while (heard.size() >= static_cast<size_t>(second) * rate + begin + length) {
        const auto middle = heard.subspan(static_cast<size_t>(second) * rate + begin, length);
        int crossings = 0;
        for (size_t i = 1; i < middle.size(); ++i) {
            crossings += (middle[i - 1] < 0) != (middle[i] < 0) ? 1 : 0;
        }
        // Twice a cycle, over half a second; the next tone is 20 away.
        if (std::abs(crossings - tone(second, track)) > 5) {
            break;
        }
        ++second;
    }
    return second;
}

}  // namespace lumbro::test::knownSound
