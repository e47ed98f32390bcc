#pragma once

#include "LumbroSpeech/Recognizer.h"

#include <QString>

#include <functional>
#include <memory>

namespace lumbro::speech {

/// A recogniser that stands in for another one whose model turns out not to load: the first failure is
/// logged once, and from then on the second recogniser serves.
class FallbackRecognizer final : public Recognizer {
  public:
    FallbackRecognizer(std::shared_ptr<Recognizer> first,
                       std::function<std::shared_ptr<Recognizer>()> makeSecond);

    Task<Result<std::shared_ptr<RecognitionStream>>> open(RecognitionEvents events) override;
    Task<Result<>> warm(int streams = 2) override;

  private:
    std::shared_ptr<Recognizer> fallBack(const QString& reason);

    std::shared_ptr<Recognizer> m_current;
    std::function<std::shared_ptr<Recognizer>()> m_makeSecond;
};

}  // namespace lumbro::speech
