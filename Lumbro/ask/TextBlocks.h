#pragma once

#include <cstddef>
#include <memory>

namespace lumbro {

/// Memory for the texts of many captures, in blocks that grow with what is asked for: thousands of
/// allocations of their own cost more than reading the files does. One thread at a time.
class TextBlocks {
  public:
    /// Bytes that stay as long as this is held. Other pieces may be in the same block.
    using Piece = std::shared_ptr<std::byte[]>;

    /// `size` bytes, fit for any type, with any content.
    Piece take(size_t size);

  private:
    Piece m_block;
    size_t m_used = 0;
    size_t m_size = 0;
};

}  // namespace lumbro
