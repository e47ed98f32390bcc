#include "recording/transcription/KeptAudio.h"

#include "LumbroSpeech/Recognizer.h"

#include <algorithm>
#include <cmath>

namespace lumbro {

double KeptAudio::begin() const {
    return static_cast<double>(m_first + static_cast<qint64>(m_dropped)) / speech::sampleRate;
}

double KeptAudio::length() const {
    return static_cast<double>(m_samples.size() - m_dropped) / speech::sampleRate;
}

void KeptAudio::append(std::span<const float> samples) {
    m_samples.insert(m_samples.end(), samples.begin(), samples.end());
}

void KeptAudio::dropBefore(double seconds) {
    const qint64 wanted = std::llround(seconds * speech::sampleRate) - m_first;
    m_dropped = static_cast<size_t>(
        std::clamp(wanted, static_cast<qint64>(m_dropped), static_cast<qint64>(m_samples.size())));
    if (m_dropped > m_samples.size() / 2) {
        m_samples.erase(m_samples.begin(), m_samples.begin() + static_cast<std::ptrdiff_t>(m_dropped));
        m_first += static_cast<qint64>(m_dropped);
        m_dropped = 0;
    }
}

void KeptAudio::restartAt(double seconds) {
    m_samples = {};
    m_dropped = 0;
    m_first = std::llround(seconds * speech::sampleRate);
}

}  // namespace lumbro
