#pragma once

#include "library/formats/TranscriptSegment.h"
#include "recording/audio/FileAudioSource.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace lumbro {

/// Ties the files that a recording is fed from to the recording. Made first, then the file sources with
/// `playback`, then the session with both. It holds files back while transcription is behind, so that memory
/// stays bounded, and keeps the two tracks side by side.
class FeedGate final : public std::enable_shared_from_this<FeedGate> {
  public:
    /// Seconds of audio that may wait for the recogniser, per track.
    static constexpr double longestBacklog = 10;
    /// Seconds that one track may be ahead of the other.
    static constexpr double longestLead = 2;

    /// How the file of a speaker is to be played. The speaker's file counts as open until it has ended.
    FilePlayback playback(Speaker speaker, bool realTime, std::optional<int> channel = {});

    /// Whether the speaker's file may hand on more. Any thread.
    bool mayFeed(Speaker speaker);
    /// Every file made with `playback` has ended, and there was one. Any thread.
    bool hasEnded() const;

  private:
    friend class CaptureSession;

    struct Side {
        bool isFed = false;
        bool hasEnded = false;
        /// Seconds of the track so far, and seconds that wait for the recogniser. Empty until a session runs.
        std::function<double()> position;
        std::function<double()> backlog;
        double lastBacklog = 0;
        std::chrono::steady_clock::time_point lastMove;
    };

    void attach(Speaker speaker, std::function<double()> position, std::function<double()> backlog);
    void detach();
    void noteEnd(Speaker speaker);
    Side& side(Speaker speaker) { return speaker == Speaker::me ? m_me : m_them; }
    const Side& side(Speaker speaker) const { return speaker == Speaker::me ? m_me : m_them; }

    static bool isBehind(Side& side);

    mutable std::mutex m_lock;
    Side m_me;
    Side m_them;
    /// Called on the main thread when the last file has ended.
    std::function<void()> m_onEnded;
};

}  // namespace lumbro
