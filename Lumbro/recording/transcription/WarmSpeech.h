#pragma once

#include "LumbroSpeech/Recognizer.h"

#include <QString>

#include <memory>

namespace lumbro {

/// A recogniser that is ready to open streams, with the locale it hears.
struct WarmSpeech {
    QString locale;
    std::shared_ptr<speech::Recognizer> recognizer;

    bool operator==(const WarmSpeech&) const = default;
};

}  // namespace lumbro
