#pragma once

namespace lumbro {

/// How what a file holds compares with what it promises, once all of it was read.
enum class MediaEnd {
    whole,
    /// Sound is missing, by what the file says of its length or since parts of it can't be decoded.
    damaged,
    /// The end that every whole file of its kind has is missing; how much sound is missing is not known.
    cutOff,
    /// It holds more than it says, as files do that were put together from several.
    longer,
};

}  // namespace lumbro
