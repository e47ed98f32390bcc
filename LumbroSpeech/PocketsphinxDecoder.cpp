#include "LumbroSpeech/PocketsphinxDecoder.h"

#include "LumbroCore/Literals.h"
#include "LumbroSpeech/RecognizedText.h"
#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/Samples.h"

#include <QFile>

#include <algorithm>
#include <utility>

#include <err.h>
#include <pocketsphinx.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/feat.h>

namespace lumbro::speech {

namespace {

// A guess is a walk back through the search's lattice: cheap, but not free.
constexpr size_t samplesPerGuess = sampleRate / 10;
// So much speech tells the cepstral mean of a voice and its microphone well enough to search anew from it.
constexpr size_t samplesToLearn = sampleRate * 3 / 2;
// Frames that the model's own mean counts for beside those of the voice.
constexpr float modelFrames = 20;

cmd_ln_t* makeConfig(const QString& modelPath) {
    const QByteArray folder = QFile::encodeName(modelPath);
    const QByteArray acoustic = folder + "/en-us";
    const QByteArray language = folder + "/en-us.lm.bin";
    const QByteArray dictionary = folder + "/cmudict-en-us.dict";
    // Silence is cut away before, so the library must neither remove it again nor shift its own clock; the
    // beams are what two live streams can afford; the dither keeps digital zeros out of the normalisation.
    return cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", acoustic.constData(), "-lm", language.constData(),
                       "-dict", dictionary.constData(), "-remove_noise", "no", "-remove_silence", "no",
                       "-fwdflat", "no", "-maxhmmpf", "3000", "-maxwpf", "10", "-dither", "yes", "-seed", "1",
                       nullptr);
}

}  // namespace

struct PocketsphinxDecoder::Handle {
    ps_decoder_t* decoder = nullptr;
    /// The cepstral mean that comes with the model.
    std::vector<mfcc_t> modelMean;

    ~Handle() { ps_free(decoder); }

    cmn_t* normalisation() const { return ps_get_feat(decoder)->cmn_struct; }
    void resetMean() { cmn_live_set(normalisation(), modelMean.data()); }
    void adoptHeardMean();
};

/// What was heard since resetMean becomes the mean. The library itself would move there over many utterances,
/// and lose the words of the first ones.
void PocketsphinxDecoder::Handle::adoptHeardMean() {
    const cmn_t& heard = *normalisation();
    const auto frames = float(std::max(heard.nframe - CMN_WIN, 0));
    std::vector<mfcc_t> mean(modelMean.size());
    for (size_t i = 0; i < mean.size(); ++i) {
        const float sum = heard.sum[i] - (modelMean[i] * CMN_WIN);
        mean[i] = (sum + (modelMean[i] * modelFrames)) / (frames + modelFrames);
    }
    cmn_live_set(normalisation(), mean.data());
}

PocketsphinxDecoder::PocketsphinxDecoder(std::unique_ptr<Handle> handle) : m_handle(std::move(handle)) {}

PocketsphinxDecoder::~PocketsphinxDecoder() = default;

Result<std::unique_ptr<UtteranceDecoder>> PocketsphinxDecoder::load(const QString& modelPath) {
    err_set_logfp(nullptr);
    cmd_ln_t* config = makeConfig(modelPath);
    ps_decoder_t* decoder = config != nullptr ? ps_init(config) : nullptr;
    cmd_ln_free_r(config);
    if (decoder == nullptr) {
        return fail(
            FailureKind::speech,
            u"The speech model in %1 cannot be loaded; reinstall pocketsphinx-en-us."_s.arg(modelPath));
    }
    auto handle = std::make_unique<Handle>();
    handle->decoder = decoder;
    const cmn_t& normalisation = *handle->normalisation();
    handle->modelMean.assign(normalisation.cmn_mean, normalisation.cmn_mean + normalisation.veclen);
    return std::unique_ptr<UtteranceDecoder>(new PocketsphinxDecoder(std::move(handle)));
}

void PocketsphinxDecoder::begin() {
    if (m_isOpen) {
        ps_end_utt(m_handle->decoder);
    }
    if (!m_hasLearned) {
        m_handle->resetMean();
        m_heard.clear();
    }
    m_isOpen = ps_start_utt(m_handle->decoder) == 0;
    m_sinceGuess = 0;
}

void PocketsphinxDecoder::add(std::span<const float> samples) {
    if (!m_isOpen) {
        return;
    }
    toPcm(samples, m_samples);
    m_sinceGuess += samples.size();
    std::span<const int16_t> rest(m_samples);
    if (!m_hasLearned) {
        const auto first = rest.first(std::min(rest.size(), samplesToLearn - m_heard.size()));
        m_heard.insert(m_heard.end(), first.begin(), first.end());
        search(first);
        rest = rest.subspan(first.size());
        if (m_heard.size() >= samplesToLearn) {
            learn();
            m_hasLearned = true;
        }
    }
    search(rest);
}

void PocketsphinxDecoder::search(std::span<const int16_t> samples) {
    if (m_isOpen && !samples.empty()) {
        ps_process_raw(m_handle->decoder, samples.data(), samples.size(), FALSE, FALSE);
    }
}

void PocketsphinxDecoder::learn() {
    ps_end_utt(m_handle->decoder);
    m_handle->adoptHeardMean();
    m_isOpen = ps_start_utt(m_handle->decoder) == 0;
    search(m_heard);
    m_heard.clear();
}

void PocketsphinxDecoder::forget() {
    m_hasLearned = false;
}

bool PocketsphinxDecoder::isGuessDue(Moment) const {
    return m_isOpen && m_sinceGuess >= samplesPerGuess;
}

QString PocketsphinxDecoder::guess(Moment) {
    m_sinceGuess = 0;
    return hypothesis();
}

std::optional<QString> PocketsphinxDecoder::finish() {
    if (m_isOpen && !m_hasLearned && !m_heard.empty()) {
        learn();
    }
    // The lattice of a poorly matching utterance may have no way through, though the search found words.
    const QString found = m_isOpen ? hypothesis() : QString();
    if (!std::exchange(m_isOpen, false) || ps_end_utt(m_handle->decoder) < 0) {
        return std::nullopt;
    }
    const QString best = hypothesis();
    return best.isEmpty() ? found : best;
}

QString PocketsphinxDecoder::hypothesis() const {
    int score = 0;
    const char* words = ps_get_hyp(m_handle->decoder, &score);
    return words != nullptr ? readableWords(QString::fromUtf8(words)) : QString();
}

}  // namespace lumbro::speech
