#include "LumbroSpeech/WhisperDecoder.h"

#include "LumbroCore/Literals.h"
#include "LumbroSpeech/RecognizedText.h"
#include "LumbroSpeech/Recognizer.h"

#include <algorithm>
#include <utility>

#include <whisper.h>

namespace lumbro::speech {

namespace {

constexpr double shortestRun = 1.1;
constexpr double shortestUtterance = 0.3;
constexpr float highNoSpeech = 0.6F;
constexpr auto shortestPeriod = std::chrono::seconds(1);

/// The encoder's window in its steps of 20 ms: as long as the audio, with some room. A short one costs less.
int audioContext(double seconds) {
    constexpr int whole = 1500;
    return std::clamp(static_cast<int>(50 * seconds) + 64, 384, whole);
}

bool shouldAbortRun(void* user) {
    const auto* decoder = static_cast<const UtteranceDecoder*>(user);
    return decoder->shouldAbort && decoder->shouldAbort();
}

whisper_full_params runParams(const WhisperContext& context, double seconds) {
    whisper_full_params params = whisper_full_default_params(WHISPER_SAMPLING_GREEDY);
    params.n_threads = context.threads;
    params.language = context.language.constData();
    params.no_context = true;
    params.single_segment = true;
    params.no_timestamps = true;
    params.temperature_inc = 0;
    params.greedy.best_of = 1;
    params.suppress_nst = true;
    params.audio_ctx = audioContext(seconds);
    params.print_progress = false;
    params.print_realtime = false;
    params.print_timestamps = false;
    params.print_special = false;
    return params;
}

}  // namespace

WhisperContext::~WhisperContext() {
    whisper_free_state(state);
    whisper_free(context);
}

WhisperDecoder::WhisperDecoder(std::shared_ptr<WhisperContext> context) : m_context(std::move(context)) {}

double WhisperDecoder::seconds() const {
    return double(m_samples.size()) / sampleRate;
}

void WhisperDecoder::begin() {
    m_samples.clear();
    m_agreed.clear();
    m_lastRun.clear();
    m_lastStart = std::chrono::steady_clock::now();
    m_lastDuration = {};
}

void WhisperDecoder::add(std::span<const float> samples) {
    m_samples.insert(m_samples.end(), samples.begin(), samples.end());
}

bool WhisperDecoder::isGuessDue(Moment now) const {
    const auto period = std::max<std::chrono::steady_clock::duration>(shortestPeriod, 2 * m_lastDuration);
    return now - m_lastStart >= period && seconds() >= shortestUtterance;
}

QString WhisperDecoder::guess(Moment now) {
    m_lastStart = now;
    const QStringList words = run().value_or(QString()).split(u' ', Qt::SkipEmptyParts);
    m_lastDuration = std::chrono::steady_clock::now() - now;
    QStringList shown;
    m_agreed = agreedWords(m_agreed, m_lastRun, words, shown);
    m_lastRun = words;
    return shown.join(u' ');
}

std::optional<QString> WhisperDecoder::finish() {
    const bool isTooShort = seconds() < shortestUtterance;
    auto text = isTooShort ? QString() : run();
    m_samples.clear();
    return text;
}

std::optional<QString> WhisperDecoder::run() {
    const double length = seconds();
    std::vector<float> padded = m_samples;
    padded.resize(std::max(padded.size(), static_cast<size_t>(shortestRun * sampleRate)));
    whisper_full_params params = runParams(*m_context, length);
    params.abort_callback = shouldAbortRun;
    params.abort_callback_user_data = static_cast<UtteranceDecoder*>(this);
    if (whisper_full_with_state(m_context->context, m_context->state, params, padded.data(),
                                static_cast<int>(padded.size())) != 0) {
        return std::nullopt;
    }
    QString text;
    const int count = whisper_full_n_segments_from_state(m_context->state);
    for (int i = 0; i < count; ++i) {
        // Silence makes the model invent a polite phrase; it then doubts that anybody spoke.
        if (whisper_full_get_segment_no_speech_prob_from_state(m_context->state, i) < highNoSpeech) {
            text += u' ' + QString::fromUtf8(whisper_full_get_segment_text_from_state(m_context->state, i));
        }
    }
    return withoutSoundMarks(text);
}

}  // namespace lumbro::speech
