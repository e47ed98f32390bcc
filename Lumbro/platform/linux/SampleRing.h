#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <span>
#include <vector>

namespace lumbro {

/// Samples on their way from one thread to another, without locks or allocation after it is made.
class SampleRing {
  public:
    /// The capacity is in samples; pieces come out whole when it is a multiple of what goes in at once.
    explicit SampleRing(size_t capacity) : m_samples(capacity) {}

    /// Writer's thread. Takes all of `count` samples or, when there is no room, none of them. Null means
    /// silence.
    bool write(const float* samples, size_t count) {
        const size_t begin = m_written.load(std::memory_order_relaxed);
        if (count > m_samples.size() - (begin - m_read.load(std::memory_order_acquire))) {
            return false;
        }
        const size_t at = begin % m_samples.size();
        const size_t first = std::min(count, m_samples.size() - at);
        copy(samples, first, at);
        copy(samples == nullptr ? nullptr : samples + first, count - first, 0);
        m_written.store(begin + count, std::memory_order_release);
        return true;
    }

    /// Reader's thread. The longest piece that lies in one row; valid until `consume`.
    std::span<const float> readable() const {
        const size_t begin = m_read.load(std::memory_order_relaxed);
        const size_t count = m_written.load(std::memory_order_acquire) - begin;
        const size_t at = begin % m_samples.size();
        return std::span(m_samples).subspan(at, std::min(count, m_samples.size() - at));
    }
    /// Reader's thread.
    void consume(size_t count) {
        m_read.store(m_read.load(std::memory_order_relaxed) + count, std::memory_order_release);
    }

  private:
    void copy(const float* samples, size_t count, size_t at) {
        float* to = m_samples.data() + at;
        if (samples == nullptr) {
            std::fill_n(to, count, 0.0F);
        } else {
            std::copy_n(samples, count, to);
        }
    }

    std::vector<float> m_samples;
    std::atomic<size_t> m_written = 0;
    std::atomic<size_t> m_read = 0;
};

}  // namespace lumbro
