#include "recording/CaptureTranscribers.h"

#include "recording/transcription/LiveTranscriber.h"

#include <utility>
#include <vector>

namespace lumbro {

CaptureTranscribers::CaptureTranscribers(Clock& clock, CaptureTiming timing, Events events)
    : m_timing(timing), m_events(std::move(events)) {
    for (const Speaker speaker : {Speaker::me, Speaker::them}) {
        const auto transcriber = std::make_shared<LiveTranscriber>(speaker, clock);
        transcriber->onFinal = m_events.onFinal;
        transcriber->onVolatile = [said = m_events.onVolatile, speaker](const QString& text) {
            said(speaker, text);
        };
        transcriber->onGaveUp = m_events.onNotice;
        transcriber->open(timing == CaptureTiming::audio ? FedAudio::keptForReplay : FedAudio::heardOnce);
        m_transcribers.insert(speaker, transcriber);
    }
}

std::shared_ptr<TranscriptionSession> CaptureTranscribers::transcriber(Speaker speaker) const {
    return m_transcribers.value(speaker);
}

void CaptureTranscribers::start(WarmSpeech speech) {
    m_started = std::make_shared<Latch>();
    runDetached(launch(shared_from_this(), std::move(speech), m_started));
}

Task<> CaptureTranscribers::launch(std::shared_ptr<CaptureTranscribers> self, WarmSpeech speech,
                                   std::shared_ptr<Latch> started) {
    const auto transcribers = self->m_transcribers;
    std::vector<std::pair<Speaker, Task<Result<>>>> starts;
    for (const auto& [speaker, transcriber] : transcribers.asKeyValueRange()) {
        starts.emplace_back(speaker, transcriber->start(speech.recognizer, speech.locale));
    }
    for (auto& [speaker, task] : starts) {
        if (const Result<> result = co_await task; !result) {
            self->drop(speaker, result.error());
        }
    }
    started->open();
}

void CaptureTranscribers::drop(Speaker speaker, const Failure& failure) {
    // Not when everything was abandoned meanwhile.
    if (m_transcribers.remove(speaker)) {
        m_events.onDropped(speaker);
        m_events.onNotice(u"Live transcript is off: "_s + failure.message);
    }
}

Task<> CaptureTranscribers::finish() {
    const auto self = shared_from_this();
    if (const std::shared_ptr<Latch> started = m_started) {
        co_await *started;
    }
    const FinishWait wait = m_timing == CaptureTiming::audio ? FinishWait::allFinals : FinishWait::brief;
    const auto transcribers = m_transcribers;
    std::vector<Task<>> ends;
    for (const auto& transcriber : transcribers) {
        ends.push_back(transcriber->finish(wait));
    }
    for (Task<>& end : ends) {
        co_await end;
    }
}

void CaptureTranscribers::abandon() {
    for (const auto& transcriber : std::as_const(m_transcribers)) {
        // A flow under way may keep it longer than those who listen.
        transcriber->onFinal = {};
        transcriber->onVolatile = {};
        transcriber->onGaveUp = {};
    }
    m_transcribers.clear();
}

}  // namespace lumbro
