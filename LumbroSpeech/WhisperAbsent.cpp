// The whisper recogniser of a build without whisper.cpp: it says so.

#include "LumbroCore/Literals.h"
#include "LumbroSpeech/WhisperRecognizer.h"

#include <utility>

namespace lumbro::speech {

struct WhisperRecognizer::Model {};

WhisperRecognizer::WhisperRecognizer(WhisperOptions, std::chrono::milliseconds) {}

WhisperRecognizer::~WhisperRecognizer() = default;

bool WhisperRecognizer::isAvailable() {
    return false;
}

Task<Result<OpenedStream>> WhisperRecognizer::open(RecognitionEvents) {
    co_return fail(FailureKind::notInstalled, u"This build of Lumbro cannot use whisper models."_s);
}

Task<Result<>> WhisperRecognizer::warm(int) {
    co_return fail(FailureKind::notInstalled, u"This build of Lumbro cannot use whisper models."_s);
}

void WhisperRecognizer::readAhead() {}

bool WhisperRecognizer::isLoaded() const {
    return false;
}

}  // namespace lumbro::speech
