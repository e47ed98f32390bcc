#pragma once

#include "library/LinkFence.h"

#include <QString>

#include <functional>

namespace lumbro {

/// What a library calls in modules above, or asks of whoever made it. Empty ones are passed over.
struct LibraryHooks {
    /// Packs the audio tracks of one capture. Start-up calls it for every capture that a crash left with
    /// ".caf" files, on a background thread; touches files only. The library's end waits for it.
    std::function<void(const QString& captureFolder)> packTracks = {};
    std::function<void()> bootMemory = {};
    std::function<void()> reloadMemory = {};
    /// Asked of captures and of the memory before they are read: what it forbids is as good as not there.
    ReadGuard mayRead = {};
};

}  // namespace lumbro
