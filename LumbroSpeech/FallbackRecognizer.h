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

    Task<Result<OpenedStream>> open(RecognitionEvents events) override;
    Task<Result<>> warm(int streams = 2) override;
    void readAhead() override;

  private:
    struct Choice;
    std::shared_ptr<Choice> m_choice;
};

}  // namespace lumbro::speech
