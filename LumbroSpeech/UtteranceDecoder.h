#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <span>

namespace lumbro::speech {

/// Turns one utterance after another into words, for one stream. Lives on the recognition worker's thread.
class UtteranceDecoder {
  public:
    using Moment = std::chrono::steady_clock::time_point;

    UtteranceDecoder() = default;
    UtteranceDecoder(const UtteranceDecoder&) = delete;
    UtteranceDecoder& operator=(const UtteranceDecoder&) = delete;
    virtual ~UtteranceDecoder() = default;

    /// A new utterance begins; an unfinished one is dropped.
    virtual void begin() = 0;
    /// More of the open utterance.
    virtual void add(std::span<const float> samples) = 0;
    /// Whether a guess made now would be worth its cost.
    virtual bool isGuessDue(Moment now) const = 0;
    /// The words so far.
    virtual QString guess(Moment now) = 0;
    /// The words of the whole utterance, which is closed by this. None when the decoder has failed.
    virtual std::optional<QString> finish() = 0;
    /// What comes next is another stream's: what was learnt of the speaker goes.
    virtual void forget() {}
    /// Long work asks this now and then and gives up when it says true. Set before the first use.
    std::function<bool()> shouldAbort;
};

}  // namespace lumbro::speech
