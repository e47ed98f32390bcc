#pragma once

#include <string>

namespace lumbro::bench {

/// What a made library holds.
struct LibrarySize {
    int captures = 5'000;
    /// In all captures together, roughly.
    int words = 10'000'000;
    int people = 2'000;
    int projects = 200;
    int promises = 5'000;
    int ideas = 500;
    /// Of all chat transcripts together.
    long long chatBytes = 1LL << 30;
};

/// Writes a library like one of many years into `folder`, the same for the same size. False when a file can't
/// be written.
bool makeLibrary(const std::string& folder, const LibrarySize& size);

/// Writes chat transcripts in the shape of real ones into `folder`: nearly all of their bytes are results of
/// tools.
bool makeChats(const std::string& folder, const LibrarySize& size);

}  // namespace lumbro::bench
