// Speech model files: what is accepted here is handed to a library that trusts it.
#include "Check.h"
#include "LumbroSpeech/WhisperFile.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const fuzz::File file(data, size, QStringLiteral("bin"));
    const auto info = speech::readWhisperFile(file.path());
    fuzz::check(!info || info->tensors >= 0);
    fuzz::check(info || !info.error().message.isEmpty());
    fuzz::check(!info || !speech::isVoiceModelFile(file.path()));
    return 0;
}
