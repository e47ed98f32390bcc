#include "LumbroSpeech/VoiceDetector.h"

#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/Samples.h"

#include <cstdint>
#include <vector>

// The library exports its plain voice detector but Debian ships no header for it.
extern "C" {
struct WebRtcVadInst;
WebRtcVadInst* WebRtcVad_Create();
void WebRtcVad_Free(WebRtcVadInst* handle);
int WebRtcVad_Init(WebRtcVadInst* handle);
int WebRtcVad_set_mode(WebRtcVadInst* handle, int mode);
int WebRtcVad_Process(WebRtcVadInst* handle, int rate, const int16_t* samples, size_t count);
}

namespace lumbro::speech {

namespace {

// The detector takes 10, 20 or 30 ms; this is the one nearest to 32.
constexpr int windowSamples = sampleRate * 30 / 1000;
constexpr int aggressiveness = 2;
// -60 dBFS: below it nobody talks, and the detector's adaptive model must not learn to think so.
constexpr float quietest = 0.001F;

}  // namespace

struct WebRtcVoiceDetector::Handle {
    Handle() : instance(WebRtcVad_Create()) {
        WebRtcVad_Init(instance);
        WebRtcVad_set_mode(instance, aggressiveness);
    }
    ~Handle() { WebRtcVad_Free(instance); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    WebRtcVadInst* instance;
    std::vector<int16_t> window;
};

WebRtcVoiceDetector::WebRtcVoiceDetector() : m_handle(std::make_unique<Handle>()) {}

WebRtcVoiceDetector::~WebRtcVoiceDetector() = default;

int WebRtcVoiceDetector::windowSize() const {
    return windowSamples;
}

bool WebRtcVoiceDetector::isSpeech(std::span<const float> window) {
    toPcm(window, m_handle->window);
    const int voice =
        WebRtcVad_Process(m_handle->instance, sampleRate, m_handle->window.data(), window.size());
    return voice == 1 && rms(window) >= quietest;
}

}  // namespace lumbro::speech
