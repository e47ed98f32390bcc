#include "recording/audio/MonoResampler.h"

#include "recording/audio/TrackPipeline.h"

#include <cmath>

#include <soxr.h>

namespace lumbro {

namespace {

constexpr int lowestRate = 1000;
constexpr int highestRate = 768000;
constexpr int mostChannels = 64;
/// Room for what the filter holds back and lets go at once.
constexpr size_t spareFrames = 64;

/// One broken sample would stay in the filter and silence everything after it.
float sane(float sample) {
    return std::abs(sample) <= 64.0F ? sample : 0.0F;
}

}  // namespace

std::unique_ptr<MonoResampler> MonoResampler::make(AudioFormat format) {
    if (format.rate < lowestRate || format.rate > highestRate || format.channels < 1 ||
        format.channels > mostChannels) {
        return nullptr;
    }
    std::unique_ptr<MonoResampler> made(new MonoResampler(format));
    if (format.rate != TrackPipeline::sampleRate && made->m_soxr == nullptr) {
        return nullptr;
    }
    return made;
}

MonoResampler::MonoResampler(AudioFormat format) : m_format(format) {
    if (format.rate == TrackPipeline::sampleRate) {
        return;
    }
    const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    m_soxr = soxr_create(format.rate, TrackPipeline::sampleRate, 1, nullptr, &samples, &quality, &oneThread);
}

MonoResampler::~MonoResampler() {
    soxr_delete(m_soxr);
}

std::span<const float> MonoResampler::mixed(std::span<const float> interleaved) {
    const auto channels = static_cast<size_t>(m_format.channels);
    const size_t frames = interleaved.size() / channels;
    m_mono.resize(frames);
    const float* in = interleaved.data();
    float* out = m_mono.data();
    if (channels == 1) {
        for (size_t i = 0; i < frames; ++i) {
            out[i] = sane(in[i]);
        }
    } else if (channels == 2) {
        for (size_t i = 0; i < frames; ++i) {
            out[i] = 0.5F * (sane(in[2 * i]) + sane(in[2 * i + 1]));
        }
    } else {
        const float share = 1.0F / static_cast<float>(channels);
        for (size_t i = 0; i < frames; ++i) {
            float sum = 0;
            for (size_t channel = 0; channel < channels; ++channel) {
                sum += sane(in[i * channels + channel]);
            }
            out[i] = sum * share;
        }
    }
    return m_mono;
}

void MonoResampler::resample(std::span<const float> mono) {
    const double ratio = double(TrackPipeline::sampleRate) / m_format.rate;
    const size_t capacity = static_cast<size_t>(ratio * static_cast<double>(mono.size())) + spareFrames;
    size_t filled = 0;
    size_t used = 0;
    while (true) {
        m_out.resize(filled + capacity);
        size_t taken = 0;
        size_t made = 0;
        // No input at all means the end of the stream to soxr.
        const float* input = mono.empty() ? nullptr : mono.data() + used;
        if (soxr_process(m_soxr, input, mono.size() - used, &taken, m_out.data() + filled, capacity, &made) !=
            nullptr) {
            break;
        }
        used += taken;
        filled += made;
        // A full output means that there may be more; anything else means that all has been taken in.
        if (made < capacity) {
            break;
        }
        if (used == mono.size() && !mono.empty()) {
            break;
        }
    }
    m_out.resize(filled);
}

std::span<const float> MonoResampler::process(std::span<const float> interleaved) {
    const std::span<const float> mono = mixed(interleaved);
    if (m_soxr == nullptr) {
        return mono;
    }
    if (mono.empty()) {
        return {};
    }
    resample(mono);
    return m_out;
}

std::span<const float> MonoResampler::finish() {
    if (m_soxr == nullptr) {
        return {};
    }
    resample({});
    return m_out;
}

}  // namespace lumbro
