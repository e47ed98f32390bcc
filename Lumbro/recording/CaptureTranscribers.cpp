#include "recording/CaptureTranscribers.h"

#include "recording/transcription/LiveTranscriber.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace lumbro {

CaptureTranscribers::CaptureTranscribers(Clock& clock, const Plan& plan, Events events)
    : m_wait(plan.timing == CaptureTiming::audio ? FinishWait::allFinals : plan.wait),
      m_events(std::move(events)) {
    for (const Speaker speaker : plan.speakers) {
        const auto transcriber = std::make_shared<LiveTranscriber>(speaker, clock);
        transcriber->onFinal = m_events.onFinal;
        transcriber->onVolatile = [said = m_events.onVolatile, speaker](const QString& text) {
            said(speaker, text);
        };
        transcriber->onGaveUp = m_events.onNotice;
        transcriber->open(plan.timing == CaptureTiming::audio ? FedAudio::keptForReplay
                                                              : FedAudio::heardOnce);
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
    // One that was not waited for did not fail.
    if (failure.kind == FailureKind::cancelled) {
        return;
    }
    // None when everything was abandoned meanwhile.
    if (const auto dropped = m_transcribers.take(speaker)) {
        m_dropped.append(dropped);
        m_events.onDropped(speaker);
        m_events.onNotice(u"Live transcript is off: "_s + failure.message);
    }
}

Task<> CaptureTranscribers::finish() {
    const auto self = shared_from_this();
    if (const std::shared_ptr<Latch> started = m_started) {
        co_await *started;
    }
    const auto transcribers = m_transcribers;
    std::vector<Task<>> ends;
    for (const auto& transcriber : transcribers) {
        ends.push_back(transcriber->finish(m_wait));
    }
    for (Task<>& end : ends) {
        co_await end;
    }
}

void CaptureTranscribers::stopWaiting() {
    const auto self = shared_from_this();
    const auto transcribers = m_transcribers;
    for (const auto& transcriber : transcribers) {
        transcriber->stopWaiting();
    }
    if (const std::shared_ptr<Latch> started = m_started) {
        started->open();
    }
}

double CaptureTranscribers::unheard() const {
    double most = 0;
    for (const auto& transcriber : m_transcribers) {
        most = std::max(most, transcriber->unheard());
    }
    return most;
}

double CaptureTranscribers::lost() const {
    double most = 0;
    const auto all = m_transcribers.values() + m_dropped;
    for (const auto& transcriber : all) {
        most = std::max(most, transcriber->lost());
    }
    return most;
}

void CaptureTranscribers::abandon() {
    for (const auto& transcriber : std::as_const(m_transcribers)) {
        // A flow under way may keep it longer than those who listen.
        transcriber->onFinal = {};
        transcriber->onVolatile = {};
        transcriber->onGaveUp = {};
    }
    m_transcribers.clear();
    m_dropped.clear();
}

}  // namespace lumbro
