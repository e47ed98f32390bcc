#include "LumbroSpeech/SileroVoiceDetector.h"

#include "LumbroSpeech/WhisperFile.h"

#include <QFile>

#include <utility>

#include <whisper.h>

namespace lumbro::speech {

namespace {

// Speech is left at a lower probability than it is entered, as the model's own streaming tool does.
constexpr float enter = 0.5F;
constexpr float leave = 0.35F;

}  // namespace

struct SileroVoiceDetector::Handle {
    whisper_vad_context* context = nullptr;

    ~Handle() { whisper_vad_free(context); }
};

SileroVoiceDetector::SileroVoiceDetector(std::unique_ptr<Handle> handle) : m_handle(std::move(handle)) {}

SileroVoiceDetector::~SileroVoiceDetector() = default;

std::unique_ptr<VoiceDetector> SileroVoiceDetector::load(const QString& modelPath) {
    if (!isVoiceModelFile(modelPath)) {
        return nullptr;
    }
    whisper_log_set([](ggml_log_level, const char*, void*) {}, nullptr);
    whisper_vad_context_params params = whisper_vad_default_context_params();
    params.n_threads = 1;
    params.use_gpu = false;
    auto handle = std::make_unique<Handle>();
    handle->context =
        whisper_vad_init_from_file_with_params(QFile::encodeName(modelPath).constData(), params);
    if (handle->context == nullptr) {
        return nullptr;
    }
    whisper_vad_reset_state(handle->context);
    return std::unique_ptr<VoiceDetector>(new SileroVoiceDetector(std::move(handle)));
}

bool SileroVoiceDetector::isSpeech(std::span<const float> window) {
    whisper_vad_context* context = m_handle->context;
    if (!whisper_vad_detect_speech_no_reset(context, window.data(), static_cast<int>(window.size())) ||
        whisper_vad_n_probs(context) < 1) {
        return m_wasSpeech;
    }
    m_wasSpeech = whisper_vad_probs(context)[0] >= (m_wasSpeech ? leave : enter);
    return m_wasSpeech;
}

}  // namespace lumbro::speech
