#pragma once

#include "LumbroSpeech/RecognitionWorker.h"
#include "LumbroSpeech/Recognizer.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace lumbro::speech {

/// The embedded recogniser: US English, no download, light enough for two live streams on a fraction of a
/// core. Its words are lower case without punctuation; a final begins with a capital.
class PocketsphinxRecognizer final : public Recognizer {
  public:
    /// Where Debian's package pocketsphinx-en-us puts the model.
    static QString defaultModelPath();

    /// The model is let go of when no stream has been open for `kept`.
    explicit PocketsphinxRecognizer(QString modelPath = defaultModelPath(),
                                    std::chrono::milliseconds kept = modelKept);
    ~PocketsphinxRecognizer() override;

    /// Whether the model's files are there.
    static bool isInstalled(const QString& modelPath = defaultModelPath());
    /// The locales the model knows.
    static QStringList locales();

    /// Fails with a sentence that names the package when the model is missing or broken.
    Task<Result<OpenedStream>> open(RecognitionEvents events) override;
    /// Loads decoders for `streams` streams ahead of their use.
    Task<Result<>> warm(int streams = 2) override;
    void readAhead() override;
    /// Whether the model is in memory. Any thread.
    bool isLoaded() const;

  private:
    struct Decoders;
    std::shared_ptr<Decoders> m_decoders;
    std::shared_ptr<RecognitionWorker> m_worker;
};

}  // namespace lumbro::speech
