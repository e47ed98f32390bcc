#include "LumbroSpeech/PocketsphinxDecoder.h"

#include "LumbroCore/Literals.h"
#include "LumbroSpeech/RecognizedText.h"
#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/Samples.h"

#include <QFile>

#include <utility>

#include <err.h>
#include <pocketsphinx.h>

namespace lumbro::speech {

namespace {

// A guess is a walk back through the search's lattice: cheap, but not free.
constexpr size_t samplesPerGuess = sampleRate / 10;

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

    ~Handle() { ps_free(decoder); }
};

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
    return std::unique_ptr<UtteranceDecoder>(new PocketsphinxDecoder(std::move(handle)));
}

void PocketsphinxDecoder::begin() {
    if (m_isOpen) {
        ps_end_utt(m_handle->decoder);
    }
    m_isOpen = ps_start_utt(m_handle->decoder) == 0;
    m_sinceGuess = 0;
}

void PocketsphinxDecoder::add(std::span<const float> samples) {
    if (!m_isOpen) {
        return;
    }
    toPcm(samples, m_samples);
    ps_process_raw(m_handle->decoder, m_samples.data(), m_samples.size(), FALSE, FALSE);
    m_sinceGuess += samples.size();
}

bool PocketsphinxDecoder::isGuessDue(Moment) const {
    return m_isOpen && m_sinceGuess >= samplesPerGuess;
}

QString PocketsphinxDecoder::guess(Moment) {
    m_sinceGuess = 0;
    return hypothesis();
}

std::optional<QString> PocketsphinxDecoder::finish() {
    if (!std::exchange(m_isOpen, false) || ps_end_utt(m_handle->decoder) < 0) {
        return std::nullopt;
    }
    return hypothesis();
}

QString PocketsphinxDecoder::hypothesis() const {
    int score = 0;
    const char* words = ps_get_hyp(m_handle->decoder, &score);
    return words != nullptr ? readableWords(QString::fromUtf8(words)) : QString();
}

}  // namespace lumbro::speech
