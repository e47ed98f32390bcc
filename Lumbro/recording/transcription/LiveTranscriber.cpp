#include "recording/transcription/LiveTranscriber.h"

#include "recording/transcription/TranscriberCore.h"

#include <utility>

namespace lumbro {

LiveTranscriber::LiveTranscriber(Speaker speaker, Clock& clock)
    : m_core(std::make_shared<TranscriberCore>(*this, speaker, clock)) {}

LiveTranscriber::~LiveTranscriber() {
    m_core->abandon();
}

void LiveTranscriber::open(FedAudio audio) {
    m_core->open(audio);
}

Task<Result<>> LiveTranscriber::start(std::shared_ptr<speech::Recognizer> recognizer, QString locale) {
    return m_core->start(std::move(recognizer), std::move(locale));
}

void LiveTranscriber::feed(std::span<const float> samples, float level) {
    m_core->feed(samples, level);
}

Task<> LiveTranscriber::finish(FinishWait wait) {
    return m_core->finish(wait);
}

void LiveTranscriber::stopWaiting() {
    m_core->stopWaiting();
}

double LiveTranscriber::backlog() const {
    return m_core->backlog();
}

double LiveTranscriber::unheard() const {
    return m_core->unheard();
}

double LiveTranscriber::lost() const {
    return m_core->lost();
}

Speaker LiveTranscriber::speaker() const {
    return m_core->speaker();
}

}  // namespace lumbro
