#pragma once

#include "LumbroSpeech/Recognizer.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace lumbro::bench {

/// A stretch of speech of one track whose words are known.
struct SpokenClip {
    double start = 0;
    double end = 0;
    QStringList words;
};

/// A result with the moment at which it came, in seconds on the stream's own time.
struct TimedResult {
    double at = 0;
    speech::RecognitionResult result;
};

/// One track of a call: its audio, what is said in it, and what a recogniser made of it.
class LiveTrack {
  public:
    /// Repeats the audio and its clips until `seconds` are full.
    LiveTrack(const std::vector<float>& samples, const std::vector<SpokenClip>& clips, double seconds);

    void open(speech::Recognizer& recognizer);
    /// Feeds everything up to the given time of the stream; `now` is when it is done.
    void feedUpTo(double seconds);
    void finish() { m_stream->finish(); }
    bool isEnded() const { return m_isEnded; }
    double backlog() const { return m_stream->backlog(); }
    double seconds() const { return double(m_samples.size()) / speech::sampleRate; }
    double fedSeconds() const { return double(m_fed) / speech::sampleRate; }
    void startClock() { m_clock.start(); }
    void close() { m_stream.reset(); }

    /// Delays in seconds from a word's end to its first appearance.
    std::vector<double> wordDelays() const;
    /// Delays in seconds from the end of a clip's speech to the final that holds its end.
    std::vector<double> finalDelays() const;
    QString finalText() const;
    QString referenceText() const;

  private:
    double firstSeen(double utteranceStart, qsizetype position, const QString& word) const;

    std::vector<float> m_samples;
    std::vector<SpokenClip> m_clips;
    std::vector<TimedResult> m_results;
    std::shared_ptr<speech::RecognitionStream> m_stream;
    QElapsedTimer m_clock;
    size_t m_fed = 0;
    bool m_isEnded = false;
};

/// When each word of a clip has been said, by the share of its letters: an estimate, mostly within a few
/// tenths of a second.
std::vector<double> wordEnds(const SpokenClip& clip);

/// The clips of one speaker of the evaluation call, with the silence at their ends taken off.
std::vector<SpokenClip> callClips(const QString& speaker, const std::vector<float>& samples);

}  // namespace lumbro::bench
