#pragma once

#include "LumbroSpeech/RecognitionWorker.h"
#include "LumbroSpeech/Recognizer.h"

#include <QString>

#include <memory>

namespace lumbro::speech {

/// What a whisper recogniser runs on.
struct WhisperOptions {
    QString modelPath;
    /// Model file of the Silero voice detector; empty means the built-in detector.
    QString voiceModelPath;
    /// Two-letter code of the language spoken.
    QString language = QStringLiteral("en");
    int threads = 2;

    bool operator==(const WhisperOptions&) const = default;
};

/// The good recogniser: whisper.cpp with a model file that the user has installed. One loaded model serves
/// all streams.
class WhisperRecognizer final : public Recognizer {
  public:
    /// The model is let go of when no stream has been open for `kept`.
    explicit WhisperRecognizer(WhisperOptions options, std::chrono::milliseconds kept = modelKept);
    ~WhisperRecognizer() override;

    /// Whether this build has whisper at all.
    static bool isAvailable();

    /// Fails with a sentence when the file is missing, broken or no whisper model.
    Task<Result<OpenedStream>> open(RecognitionEvents events) override;
    Task<Result<>> warm(int streams = 2) override;
    void readAhead() override;
    /// Whether the model is in memory. Any thread.
    bool isLoaded() const;

  private:
    struct Model;
    std::shared_ptr<Model> m_model;
    std::shared_ptr<RecognitionWorker> m_worker;
};

}  // namespace lumbro::speech
