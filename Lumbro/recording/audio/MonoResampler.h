#pragma once

#include "platform/AudioSource.h"

#include <memory>
#include <span>
#include <vector>

struct soxr;

namespace lumbro {

/// Mixes the channels of one format to one and brings them to 16 kHz, keeping its filter state from call to
/// call. Not thread safe.
class MonoResampler {
  public:
    /// Nothing when the format cannot be converted.
    static std::unique_ptr<MonoResampler> make(AudioFormat format);
    ~MonoResampler();
    MonoResampler(const MonoResampler&) = delete;
    MonoResampler& operator=(const MonoResampler&) = delete;

    AudioFormat format() const { return m_format; }
    /// What came out so far, maybe nothing. Valid until the next call.
    std::span<const float> process(std::span<const float> interleaved);
    /// The last samples, which the filter holds back. Nothing may be processed after it.
    std::span<const float> finish();

  private:
    explicit MonoResampler(AudioFormat format);
    std::span<const float> mixed(std::span<const float> interleaved);
    void resample(std::span<const float> mono);

    AudioFormat m_format;
    soxr* m_soxr = nullptr;
    std::vector<float> m_mono;
    std::vector<float> m_out;
};

}  // namespace lumbro
