#pragma once

#include "tests/audio/Tones.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <span>
#include <vector>

namespace lumbro::test {

inline constexpr double micTone = 440;
inline constexpr double callTone = 1000;

/// How loud the two tones are in a tenth of a second. Both have whole periods in it, so neither is taken for
/// the other.
struct ToneWindow {
    static constexpr size_t frames = 1600;

    double mic = 0;
    double call = 0;

    static ToneWindow of(std::span<const float> samples) {
        return {amplitudeOf(micTone, samples), amplitudeOf(callTone, samples)};
    }
    static std::vector<ToneWindow> all(std::span<const float> samples) {
        std::vector<ToneWindow> windows;
        for (; samples.size() >= frames; samples = samples.subspan(frames)) {
            windows.push_back(of(samples.first(frames)));
        }
        return windows;
    }
};

/// Whether a tone that is played with an amplitude of 0.3 came through.
inline bool isWhole(double amplitude) {
    return amplitude > 0.25 && amplitude < 0.35;
}

/// Listens to a track while it is recorded. It looks for a moment that has what is wanted, since the sound of
/// a machine that can't keep up has gaps. Any thread.
class TrackEar {
  public:
    void take(std::span<const float> mono16k) {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard guard(m_lock);
        for (const float sample : mono16k) {
            // A click is loud for a moment only.
            if (++m_sinceClick > framesAfterClick && std::abs(sample) > 0.4F) {
                m_clicks.push_back(now);
                m_sinceClick = 0;
            }
        }
        m_samples.insert(m_samples.end(), mono16k.begin(), mono16k.end());
        const std::vector<ToneWindow> more = ToneWindow::all(m_samples);
        m_windows.insert(m_windows.end(), more.begin(), more.end());
        m_samples.erase(m_samples.begin(),
                        m_samples.begin() + static_cast<std::ptrdiff_t>(more.size() * ToneWindow::frames));
    }
    /// Whether the tone was there at any moment so far.
    bool hears(double ToneWindow::* tone) const {
        const std::lock_guard guard(m_lock);
        return std::ranges::any_of(m_windows, isWhole, tone);
    }
    /// When the clicks of the track came in.
    std::vector<std::chrono::steady_clock::time_point> clicks() const {
        const std::lock_guard guard(m_lock);
        return m_clicks;
    }

  private:
    static constexpr int framesAfterClick = 8000;

    mutable std::mutex m_lock;
    std::vector<float> m_samples;
    std::vector<ToneWindow> m_windows;
    std::vector<std::chrono::steady_clock::time_point> m_clicks;
    int m_sinceClick = 0;
};

}  // namespace lumbro::test
