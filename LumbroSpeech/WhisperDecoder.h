#pragma once

#include "LumbroSpeech/UtteranceDecoder.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>
#include <vector>

struct whisper_context;
struct whisper_state;

namespace lumbro::speech {

/// A loaded whisper model with its working memory, shared by all decoders of the one worker thread.
struct WhisperContext {
    whisper_context* context = nullptr;
    whisper_state* state = nullptr;
    QByteArray language;
    int threads = 1;

    WhisperContext() = default;
    WhisperContext(const WhisperContext&) = delete;
    WhisperContext& operator=(const WhisperContext&) = delete;
    ~WhisperContext();
};

/// Runs the open utterance again and again for guesses, and once more for its final. What two runs in a row
/// agree on stays; the tail after it is replaced by each run.
class WhisperDecoder final : public UtteranceDecoder {
  public:
    explicit WhisperDecoder(std::shared_ptr<WhisperContext> context);

    void begin() override;
    void add(std::span<const float> samples) override;
    bool isGuessDue(Moment now) const override;
    QString guess(Moment now) override;
    std::optional<QString> finish() override;

  private:
    std::optional<QString> run();
    double seconds() const;

    std::shared_ptr<WhisperContext> m_context;
    std::vector<float> m_samples;
    QStringList m_agreed;
    QStringList m_lastRun;
    Moment m_lastStart;
    std::chrono::steady_clock::duration m_lastDuration{0};
};

/// The words to show when `now` was heard after `before`, of which `agreed` had been settled. Words of `now`
/// that stand in both runs are settled by this.
QStringList agreedWords(const QStringList& agreed, const QStringList& before, const QStringList& now,
                        QStringList& shown);

}  // namespace lumbro::speech
