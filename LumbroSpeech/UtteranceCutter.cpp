#include "LumbroSpeech/UtteranceCutter.h"

#include "LumbroSpeech/Recognizer.h"

#include <algorithm>
#include <utility>

namespace lumbro::speech {

namespace {

// From here on an open utterance takes the first short pause, so that its cap seldom falls into a word.
constexpr double longShare = 0.75;
constexpr double shortPause = 0.2;

int64_t samplesOf(double seconds) {
    return static_cast<int64_t>(seconds * sampleRate);
}

}  // namespace

UtteranceCutter::UtteranceCutter(std::unique_ptr<VoiceDetector> detector, Limits limits)
    : m_detector(std::move(detector)), m_limits(limits) {}

UtteranceCutter::UtteranceCutter(std::unique_ptr<VoiceDetector> detector)
    : UtteranceCutter(std::move(detector), Limits()) {}

void UtteranceCutter::feed(std::span<const float> samples, std::vector<UtterancePiece>& out) {
    m_rest.insert(m_rest.end(), samples.begin(), samples.end());
    const auto size = static_cast<size_t>(m_detector->windowSize());
    size_t taken = 0;
    while (m_rest.size() - taken >= size) {
        takeWindow(std::span(m_rest).subspan(taken, size), out);
        taken += size;
    }
    m_rest.erase(m_rest.begin(), m_rest.begin() + static_cast<std::ptrdiff_t>(taken));
}

void UtteranceCutter::finish(std::vector<UtterancePiece>& out) {
    if (m_isOpen) {
        out.push_back(
            {UtterancePiece::Kind::audio, double(m_position) / sampleRate, std::exchange(m_rest, {})});
        close(out);
    }
    m_rest.clear();
}

void UtteranceCutter::takeWindow(std::span<const float> window, std::vector<UtterancePiece>& out) {
    const bool isSpeech = m_detector->isSpeech(window);
    if (m_isOpen) {
        takeWhileOpen(window, isSpeech, out);
    } else {
        takeWhileClosed(window, isSpeech, out);
    }
}

void UtteranceCutter::takeWhileClosed(std::span<const float> window, bool isSpeech,
                                      std::vector<UtterancePiece>& out) {
    m_preRoll.insert(m_preRoll.end(), window.begin(), window.end());
    m_position += static_cast<int64_t>(window.size());
    m_speechWindows = isSpeech ? m_speechWindows + 1 : 0;
    const auto kept = static_cast<size_t>(samplesOf(m_limits.preRoll) +
                                          int64_t(m_limits.windowsToOpen) * m_detector->windowSize());
    if (m_preRoll.size() > kept) {
        m_preRoll.erase(m_preRoll.begin(), m_preRoll.end() - static_cast<std::ptrdiff_t>(kept));
    }
    if (m_speechWindows < m_limits.windowsToOpen) {
        return;
    }
    m_isOpen = true;
    m_opened = m_position - static_cast<int64_t>(m_preRoll.size());
    m_pause = 0;
    const double start = double(m_opened) / sampleRate;
    out.push_back({UtterancePiece::Kind::begin, start, {}});
    out.push_back(
        {UtterancePiece::Kind::audio, start, std::vector<float>(m_preRoll.begin(), m_preRoll.end())});
    m_preRoll.clear();
}

void UtteranceCutter::takeWhileOpen(std::span<const float> window, bool isSpeech,
                                    std::vector<UtterancePiece>& out) {
    const double start = double(m_position) / sampleRate;
    const auto count = static_cast<int64_t>(window.size());
    if (!out.empty() && out.back().kind == UtterancePiece::Kind::audio) {
        out.back().samples.insert(out.back().samples.end(), window.begin(), window.end());
    } else {
        out.push_back({UtterancePiece::Kind::audio, start, std::vector<float>(window.begin(), window.end())});
    }
    m_position += count;
    m_pause = isSpeech ? 0 : m_pause + count;
    const int64_t length = m_position - m_opened;
    const bool isLong = length >= samplesOf(m_limits.longest * longShare);
    if (m_pause >= samplesOf(isLong ? std::min(shortPause, m_limits.pauseToClose) : m_limits.pauseToClose) ||
        length >= samplesOf(m_limits.longest)) {
        close(out);
    }
}

void UtteranceCutter::close(std::vector<UtterancePiece>& out) {
    out.push_back({UtterancePiece::Kind::end, double(m_position) / sampleRate, {}});
    m_isOpen = false;
    m_speechWindows = 0;
}

}  // namespace lumbro::speech
