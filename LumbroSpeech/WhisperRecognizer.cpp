#include "LumbroSpeech/WhisperRecognizer.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroSpeech/ReadAhead.h"
#include "LumbroSpeech/SileroVoiceDetector.h"
#include "LumbroSpeech/WhisperDecoder.h"
#include "LumbroSpeech/WhisperFile.h"

#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <exception>
#include <utility>

#include <whisper.h>

namespace lumbro::speech {

/// The model as far as it is loaded; on the worker's thread only.
struct WhisperRecognizer::Model {
    WhisperOptions options;
    std::shared_ptr<WhisperContext> context;
    /// Any thread.
    std::atomic<bool> isLoaded = false;

    Result<> load();
    void letGo();
    std::unique_ptr<VoiceDetector> makeDetector() const;

  private:
    Result<> loadChecked();
};

Result<> WhisperRecognizer::Model::load() {
    if (context) {
        return {};
    }
    const auto info = readWhisperFile(options.modelPath);
    if (!info) {
        return std::unexpected(info.error());
    }
    // The library lets its own allocations throw on a file that is sound but too large for this machine.
    try {
        return loadChecked();
    } catch (const std::exception&) {
        return fail(FailureKind::speech, u"%1 is too large for this computer's memory."_s.arg(
                                             QFileInfo(options.modelPath).fileName()));
    }
}

Result<> WhisperRecognizer::Model::loadChecked() {
    whisper_log_set([](ggml_log_level, const char*, void*) {}, nullptr);
    whisper_context_params params = whisper_context_default_params();
    params.use_gpu = false;
    auto loaded = std::make_shared<WhisperContext>();
    loaded->language = options.language.toLatin1();
    loaded->threads = options.threads;
    loaded->context =
        whisper_init_from_file_with_params_no_state(QFile::encodeName(options.modelPath).constData(), params);
    if (loaded->context != nullptr) {
        loaded->state = whisper_init_state(loaded->context);
    }
    if (loaded->state == nullptr) {
        return fail(FailureKind::speech,
                    u"%1 cannot be loaded."_s.arg(QFileInfo(options.modelPath).fileName()));
    }
    context = std::move(loaded);
    isLoaded = true;
    return {};
}

void WhisperRecognizer::Model::letGo() {
    context.reset();
    isLoaded = false;
}

std::unique_ptr<VoiceDetector> WhisperRecognizer::Model::makeDetector() const {
    auto silero =
        options.voiceModelPath.isEmpty() ? nullptr : SileroVoiceDetector::load(options.voiceModelPath);
    return silero ? std::move(silero) : std::make_unique<WebRtcVoiceDetector>();
}

WhisperRecognizer::WhisperRecognizer(WhisperOptions options, std::chrono::milliseconds kept)
    : m_model(std::make_shared<Model>()),
      m_worker(std::make_shared<RecognitionWorker>([model = m_model] { model->letGo(); }, kept)) {
    m_model->options = std::move(options);
}

WhisperRecognizer::~WhisperRecognizer() = default;

bool WhisperRecognizer::isAvailable() {
    return true;
}

Task<Result<OpenedStream>> WhisperRecognizer::open(RecognitionEvents events) {
    // Nothing of this object is used after the wait: it may be gone by then.
    const auto worker = m_worker;
    const auto model = m_model;
    const auto detector = std::make_shared<std::unique_ptr<VoiceDetector>>();
    const auto decoder = std::make_shared<std::unique_ptr<UtteranceDecoder>>();
    std::function<Result<>()> prepare = [model, detector, decoder] {
        const auto loaded = model->load();
        if (loaded) {
            *detector = model->makeDetector();
            *decoder = std::make_unique<WhisperDecoder>(model->context);
        }
        return loaded;
    };
    const auto prepared = co_await worker->call(std::move(prepare));
    if (!prepared) {
        co_return std::unexpected(prepared.error());
    }
    auto cutter = std::make_unique<UtteranceCutter>(std::move(*detector));
    co_return OpenedStream(worker->openStream(std::move(cutter), std::move(*decoder), {}, std::move(events)));
}

Task<Result<>> WhisperRecognizer::warm(int) {
    const auto worker = m_worker;
    const auto model = m_model;
    std::function<Result<>()> load = [model] { return model->load(); };
    co_return co_await worker->call(std::move(load));
}

void WhisperRecognizer::readAhead() {
    m_worker->post([path = m_model->options.modelPath] { readFileAhead(path); });
}

bool WhisperRecognizer::isLoaded() const {
    return m_model->isLoaded;
}

}  // namespace lumbro::speech
