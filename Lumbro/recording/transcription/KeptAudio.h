#pragma once

#include <QtGlobal>

#include <span>
#include <vector>

namespace lumbro {

/// The newest part of a track's samples, kept for a recogniser that is not up yet or may have to hear them
/// again. Times are seconds from the track's beginning. Not thread safe.
class KeptAudio {
  public:
    /// Where the kept samples begin.
    double begin() const;
    /// How much is kept, in seconds.
    double length() const;
    std::span<const float> samples() const { return std::span(m_samples).subspan(m_dropped); }

    void append(std::span<const float> samples);
    void dropBefore(double seconds);
    /// Keeps nothing, and goes on from here.
    void restartAt(double seconds);

  private:
    std::vector<float> m_samples;
    /// Samples at the front that are as good as gone; taking them out one by one would move all the others.
    size_t m_dropped = 0;
    /// The first sample of `m_samples`, counted from the track's beginning.
    qint64 m_first = 0;
};

}  // namespace lumbro
