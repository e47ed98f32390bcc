#include "recording/FeedGate.h"

#include <utility>

namespace lumbro {

FilePlayback FeedGate::playback(Speaker speaker, bool realTime, std::optional<int> channel) {
    {
        const std::lock_guard guard(m_lock);
        side(speaker).isFed = true;
    }
    const std::shared_ptr<FeedGate> self = shared_from_this();
    return {
        .realTime = realTime,
        .channel = channel,
        .mayFeed = [self, speaker] { return self->mayFeed(speaker); },
        .onEnd = [self, speaker] { self->noteEnd(speaker); },
    };
}

bool FeedGate::mayFeed(Speaker speaker) {
    const std::lock_guard guard(m_lock);
    Side& own = side(speaker);
    const Side& other = side(speaker == Speaker::me ? Speaker::them : Speaker::me);
    if (!own.position) {
        return true;
    }
    const bool isAhead =
        other.isFed && !other.hasEnded && other.position && own.position() - other.position() > longestLead;
    return !isAhead && !isBehind(own);
}

// A recogniser that does nothing for a minute is not waited for: a hung one must not stop the recording.
bool FeedGate::isBehind(Side& side) {
    const double backlog = side.backlog ? side.backlog() : 0;
    const auto now = std::chrono::steady_clock::now();
    if (backlog != side.lastBacklog || backlog <= longestBacklog) {
        side.lastBacklog = backlog;
        side.lastMove = now;
    }
    return backlog > longestBacklog && now - side.lastMove < std::chrono::minutes(1);
}

bool FeedGate::hasEnded() const {
    const std::lock_guard guard(m_lock);
    return (m_me.isFed || m_them.isFed) && (!m_me.isFed || m_me.hasEnded) &&
           (!m_them.isFed || m_them.hasEnded);
}

void FeedGate::attach(Speaker speaker, std::function<double()> position, std::function<double()> backlog) {
    const std::lock_guard guard(m_lock);
    side(speaker).position = std::move(position);
    side(speaker).backlog = std::move(backlog);
}

void FeedGate::detach() {
    const std::lock_guard guard(m_lock);
    for (Side* each : {&m_me, &m_them}) {
        each->position = {};
        each->backlog = {};
    }
    m_onEnded = {};
}

void FeedGate::noteEnd(Speaker speaker) {
    {
        const std::lock_guard guard(m_lock);
        side(speaker).hasEnded = true;
    }
    if (hasEnded() && m_onEnded) {
        const auto onEnded = m_onEnded;
        onEnded();
    }
}

}  // namespace lumbro
