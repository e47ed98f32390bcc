#include "ask/TextBlocks.h"

#include <algorithm>

#include <sys/mman.h>

namespace lumbro {

namespace {

/// The size of what the kernel gives at once when it may.
constexpr size_t hugePage = size_t(2) << 20;
constexpr size_t largest = 2 * hugePage;

size_t rounded(size_t size, size_t unit) {
    return (size + unit - 1) / unit * unit;
}

TextBlocks::Piece largeBlock(size_t size) {
    void* block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) {
        return {};
    }
    madvise(block, size, MADV_HUGEPAGE);
    return {static_cast<std::byte*>(block), [size](std::byte* bytes) { munmap(bytes, size); }};
}

}  // namespace

TextBlocks::Piece TextBlocks::take(size_t size) {
    const size_t needed = rounded(std::max(size, size_t(1)), alignof(std::max_align_t));
    if (needed > m_size - m_used) {
        // The first piece gets a block of its own size: one capture that has changed shall not hold more.
        m_size = std::max(needed, std::min(2 * m_size, largest));
        m_used = 0;
        if (m_size >= largest) {
            m_size = rounded(m_size, hugePage);
            m_block = largeBlock(m_size);
        }
        if (m_size < largest || !m_block) {
            m_block = std::make_shared_for_overwrite<std::byte[]>(m_size);
        }
    }
    Piece piece(m_block, m_block.get() + m_used);
    m_used += needed;
    return piece;
}

}  // namespace lumbro
