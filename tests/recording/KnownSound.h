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

/// Whether the middle of a second holds the right tone.
inline bool isRight(std::span<const float> heard, int second, int track) {
    constexpr size_t length = rate / 2;
    const size_t begin = static_cast<size_t>(second) * rate + rate / 4;
    if (heard.size() < begin + length) {
        return false;
    }
    const auto middle = heard.subspan(begin, length);
    int crossings = 0;
    for (size_t i = 1; i < middle.size(); ++i) {
        crossings += (middle[i - 1] < 0) != (middle[i] < 0) ? 1 : 0;
    }
    // Two a cycle, over half a second; the next tone is 20 away.
    return std::abs(crossings - tone(second, track)) <= 5;
}

/// Seconds at the start of `heard` that are right.
inline int rightSeconds(std::span<const float> heard, int track) {
    int second = 0;
    while (isRight(heard, second, track)) {
        ++second;
    }
    return second;
}

}  // namespace lumbro::test::knownSound
