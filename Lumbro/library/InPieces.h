#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>

namespace lumbro {

/// Gives out the numbers from 0 to `count` piece by piece, to whichever thread asks next.
class Pieces {
  public:
    explicit Pieces(size_t count) : m_count(count) {}

    /// The next piece, [begin, end); false when all are given out.
    bool take(size_t& begin, size_t& end) {
        constexpr size_t size = 64;
        begin = m_next.fetch_add(size);
        end = std::min(begin + size, m_count);
        return begin < end;
    }

  private:
    size_t m_count;
    std::atomic<size_t> m_next = 0;
};

/// From this number of captures on, a second thread and remembering what was read pay.
constexpr size_t manyCaptures = 256;

/// Calls `work(Pieces&)` on this thread and, where there is much to do, on a second one at the same time.
/// Returns when both are done.
template <typename Work>
void inPieces(size_t count, const Work& work) {
    Pieces pieces(count);
    if (count < manyCaptures) {
        work(pieces);
        return;
    }
    const std::jthread other([&] { work(pieces); });
    work(pieces);
}

}  // namespace lumbro
