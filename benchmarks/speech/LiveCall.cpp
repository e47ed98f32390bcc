#include "benchmarks/speech/LiveCall.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "LumbroSpeech/Samples.h"
#include "tests/speech/SpeechData.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <span>

namespace lumbro::bench {

namespace {

constexpr size_t frame = speech::sampleRate / 50;
constexpr float spoken = 0.006F;

bool isSpoken(const std::vector<float>& samples, size_t at) {
    return at + frame <= samples.size() && speech::rms(std::span(samples).subspan(at, frame)) > spoken;
}

double trimmedStart(const std::vector<float>& samples, double start, double end) {
    auto at = static_cast<size_t>(start * speech::sampleRate);
    while (double(at) < end * speech::sampleRate && !isSpoken(samples, at)) {
        at += frame;
    }
    return double(at) / speech::sampleRate;
}

double trimmedEnd(const std::vector<float>& samples, double start, double end) {
    auto at = static_cast<size_t>(end * speech::sampleRate);
    while (double(at) > start * speech::sampleRate + frame && !isSpoken(samples, at - frame)) {
        at -= frame;
    }
    return double(at) / speech::sampleRate;
}

}  // namespace

std::vector<SpokenClip> callClips(const QString& speaker, const std::vector<float>& samples) {
    const QByteArray json = readFile(test::speechData(u"call_timings.json"_s)).value_or(QByteArray());
    std::vector<SpokenClip> clips;
    for (const auto& value : QJsonDocument::fromJson(json).array()) {
        const QJsonObject clip = value.toObject();
        if (clip[u"speaker"_s].toString() != speaker) {
            continue;
        }
        const double start = clip[u"start"_s].toDouble();
        const double end = clip[u"end"_s].toDouble();
        clips.push_back({trimmedStart(samples, start, end), trimmedEnd(samples, start, end),
                         test::wordsOf(clip[u"text"_s].toString())});
    }
    return clips;
}

// Only the ends of the clip are known. In between, a long word is taken to last longer than a short one.
std::vector<double> wordEnds(const SpokenClip& clip) {
    const double letters = double(clip.words.join(QString()).size());
    std::vector<double> ends;
    double said = 0;
    for (const QString& word : clip.words) {
        said += double(word.size());
        ends.push_back(clip.start + (clip.end - clip.start) * said / letters);
    }
    return ends;
}

LiveTrack::LiveTrack(const std::vector<float>& samples, const std::vector<SpokenClip>& clips,
                     double seconds) {
    const double length = double(samples.size()) / speech::sampleRate;
    const auto wanted = static_cast<size_t>(seconds * speech::sampleRate);
    m_samples.reserve(wanted);
    for (double offset = 0; m_samples.size() < wanted; offset += length) {
        const size_t count = std::min(samples.size(), wanted - m_samples.size());
        m_samples.insert(m_samples.end(), samples.begin(),
                         samples.begin() + static_cast<std::ptrdiff_t>(count));
        for (const SpokenClip& clip : clips) {
            if (offset + clip.end + 1 < seconds) {
                m_clips.push_back({offset + clip.start, offset + clip.end, clip.words});
            }
        }
    }
    // What is cut off at the end must not be heard, as nothing says which of its words were spoken.
    const double known = m_clips.empty() ? 0 : m_clips.back().end + 0.3;
    const auto quiet = std::min(m_samples.size(), static_cast<size_t>(known * speech::sampleRate));
    if (!m_clips.empty() && m_clips.back().end > 0) {
        std::fill(m_samples.begin() + static_cast<std::ptrdiff_t>(quiet), m_samples.end(), 0.F);
    }
}

void LiveTrack::open(speech::Recognizer& recognizer) {
    speech::RecognitionEvents events;
    events.onResult = [this](const speech::RecognitionResult& result) {
        m_results.push_back({double(m_clock.nsecsElapsed()) / 1e9, result});
    };
    events.onEnd = [this](const Result<>&) { m_isEnded = true; };
    const auto opened = QCoro::waitFor(recognizer.open(std::move(events)));
    if (!opened) {
        qFatal("%s", qUtf8Printable(opened.error().message));
    }
    m_stream = opened->stream;
}

void LiveTrack::feedUpTo(double seconds) {
    const auto upTo =
        std::min(m_samples.size(), static_cast<size_t>(std::max(0.0, seconds) * speech::sampleRate));
    while (m_fed < upTo) {
        const size_t count = std::min(frame, upTo - m_fed);
        m_stream->feed(std::span(m_samples).subspan(m_fed, count));
        m_fed += count;
    }
}

QString LiveTrack::finalText() const {
    QStringList texts;
    for (const TimedResult& result : m_results) {
        if (result.result.isFinal) {
            texts.append(result.result.text);
        }
    }
    return texts.join(u' ');
}

QString LiveTrack::referenceText() const {
    QStringList words;
    for (const SpokenClip& clip : m_clips) {
        words += clip.words;
    }
    return words.join(u' ');
}

double LiveTrack::firstSeen(double utteranceStart, qsizetype position, const QString& word) const {
    for (const TimedResult& seen : m_results) {
        const QStringList words = test::wordsOf(seen.result.text);
        // A guess may split the words before it otherwise than the final does.
        constexpr qsizetype slack = 3;
        const qsizetype from = std::max<qsizetype>(0, position - slack);
        if (seen.result.start == utteranceStart && words.mid(from, 2 * slack + 1).contains(word)) {
            return seen.at;
        }
    }
    return std::nan("");
}

std::vector<double> LiveTrack::wordDelays() const {
    QStringList reference;
    std::vector<double> spokenAt;
    for (const SpokenClip& clip : m_clips) {
        reference += clip.words;
        std::ranges::copy(wordEnds(clip), std::back_inserter(spokenAt));
    }
    const auto match = test::alignWords(reference, test::wordsOf(finalText()));
    std::vector<double> delays;
    size_t index = 0;
    for (const TimedResult& heard : m_results) {
        if (!heard.result.isFinal) {
            continue;
        }
        const QStringList words = test::wordsOf(heard.result.text);
        for (qsizetype i = 0; i < words.size(); ++i, ++index) {
            if (match[index] >= 0) {
                const double at = firstSeen(heard.result.start, i, words[i]);
                delays.push_back(at - spokenAt[static_cast<size_t>(match[index])]);
            }
        }
    }
    return delays;
}

std::vector<double> LiveTrack::finalDelays() const {
    std::vector<double> delays;
    for (const SpokenClip& clip : m_clips) {
        const auto after = std::ranges::find_if(m_results, [&](const TimedResult& seen) {
            return seen.result.isFinal && seen.at >= clip.end && seen.result.start < clip.end;
        });
        if (after != m_results.end()) {
            delays.push_back(after->at - clip.end);
        }
    }
    return delays;
}

}  // namespace lumbro::bench
