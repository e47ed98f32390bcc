#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace lumbro::speech {

/// Root mean square of the samples; 0 of none.
float rms(std::span<const float> samples);

/// 16-bit samples of -1 to 1; louder ones are clipped, and what is no number becomes 0.
void toPcm(std::span<const float> samples, std::vector<int16_t>& out);

}  // namespace lumbro::speech
