#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroSpeech/UtteranceDecoder.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace lumbro::speech {

/// One pocketsphinx decoder. It searches while audio comes in, so guesses and finals cost little. It learns
/// how the speaker sounds from the beginning of the first utterance, which it then hears once more.
class PocketsphinxDecoder final : public UtteranceDecoder {
  public:
    /// Loads the model, which takes some hundred milliseconds. Fails when the library refuses it.
    static Result<std::unique_ptr<UtteranceDecoder>> load(const QString& modelPath);
    ~PocketsphinxDecoder() override;

    void begin() override;
    void add(std::span<const float> samples) override;
    bool isGuessDue(Moment now) const override;
    QString guess(Moment now) override;
    std::optional<QString> finish() override;
    void forget() override;

  private:
    struct Handle;

    explicit PocketsphinxDecoder(std::unique_ptr<Handle> handle);
    QString hypothesis() const;
    void search(std::span<const int16_t> samples);
    void learn();

    std::unique_ptr<Handle> m_handle;
    std::vector<int16_t> m_samples;
    /// The utterance so far, until something is learnt.
    std::vector<int16_t> m_heard;
    bool m_hasLearned = false;
    size_t m_sinceGuess = 0;
    bool m_isOpen = false;
};

}  // namespace lumbro::speech
