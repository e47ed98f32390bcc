#include "LumbroSpeech/Samples.h"

#include <algorithm>
#include <cmath>

namespace lumbro::speech {

float rms(std::span<const float> samples) {
    if (samples.empty()) {
        return 0;
    }
    double sum = 0;
    for (const float sample : samples) {
        sum += double(sample) * sample;
    }
    return static_cast<float>(std::sqrt(sum / static_cast<double>(samples.size())));
}

void toPcm(std::span<const float> samples, std::vector<int16_t>& out) {
    out.resize(samples.size());
    std::transform(samples.begin(), samples.end(), out.begin(), [](float sample) {
        const float scaled = std::isnan(sample) ? 0 : std::round(sample * 32767.F);
        return static_cast<int16_t>(std::clamp(scaled, -32768.F, 32767.F));
    });
}

}  // namespace lumbro::speech
