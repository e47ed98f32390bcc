#pragma once

namespace lumbro {

/// What a recording's time is.
enum class CaptureTiming {
    /// The wall clock's: the sources are devices. Tracks are kept true to the time that passes.
    live,
    /// The audio's own: the sources are files, perhaps read faster than they were spoken. The recording ends
    /// at its start plus the length of the audio, and the transcript is complete.
    audio,
};

}  // namespace lumbro
