#pragma once

#include "LumbroCore/Literals.h"
#include "recording/audio/CafReader.h"

#include <QByteArray>
#include <QString>

#include <cmath>
#include <numbers>
#include <span>
#include <vector>

namespace lumbro::test {

/// Interleaved samples of a tone, the same in every channel.
inline std::vector<float> tone(double hertz, double seconds, int rate, int channels, float amplitude = 0.3F) {
    std::vector<float> samples;
    const auto frames = static_cast<size_t>(std::lround(seconds * rate));
    samples.reserve(frames * static_cast<size_t>(channels));
    for (size_t i = 0; i < frames; ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / rate;
        const float value = amplitude * static_cast<float>(std::sin(phase));
        samples.insert(samples.end(), static_cast<size_t>(channels), value);
    }
    return samples;
}

/// The amplitude of one frequency in mono samples.
inline double amplitudeOf(double hertz, std::span<const float> samples, int rate = 16000) {
    double real = 0;
    double imaginary = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / rate;
        real += samples[i] * std::cos(phase);
        imaginary += samples[i] * std::sin(phase);
    }
    return samples.empty() ? 0 : 2 * std::hypot(real, imaginary) / static_cast<double>(samples.size());
}

/// A WAV file of 16-bit samples.
inline QByteArray wav(std::span<const float> interleaved, int rate, int channels) {
    const auto little = [](quint32 value, int bytes) {
        QByteArray out;
        for (int i = 0; i < bytes; ++i) {
            out.append(static_cast<char>((value >> (8 * i)) & 0xFF));
        }
        return out;
    };
    const auto dataSize = static_cast<quint32>(interleaved.size() * 2);
    const auto frameSize = static_cast<quint32>(channels) * 2;
    QByteArray file = "RIFF" + little(36 + dataSize, 4) + "WAVEfmt " + little(16, 4) + little(1, 2) +
                      little(static_cast<quint32>(channels), 2) + little(static_cast<quint32>(rate), 4) +
                      little(static_cast<quint32>(rate) * frameSize, 4) + little(frameSize, 2) +
                      little(16, 2) + "data" + little(dataSize, 4);
    file.reserve(file.size() + static_cast<qsizetype>(dataSize));
    for (const float sample : interleaved) {
        const auto value = static_cast<qint16>(std::lround(sample * 32767));
        file.append(static_cast<char>(value & 0xFF)).append(static_cast<char>(value >> 8));
    }
    return file;
}

/// All samples of a track file; empty when it cannot be read.
inline std::vector<float> trackSamples(const QString& caf) {
    CafReader reader;
    if (!reader.open(caf)) {
        return {};
    }
    std::vector<float> samples(static_cast<size_t>(reader.frames()));
    const auto count = reader.read(samples);
    samples.resize(count.value_or(0));
    return samples;
}

}  // namespace lumbro::test
