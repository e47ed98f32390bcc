#include "recording/GrowingTranscript.h"

#include "recording/EchoFilter.h"

namespace lumbro {

int GrowingTranscript::wordCount() const {
    qsizetype words = 0;
    for (const TranscriptSegment& segment : m_segments) {
        words += segment.text.split(u' ', Qt::SkipEmptyParts).size();
    }
    return static_cast<int>(words);
}

bool GrowingTranscript::append(const TranscriptSegment& segment) {
    if (segment.speaker == Speaker::me && echoFilter::isEcho(segment, m_segments)) {
        return false;
    }
    m_segments.append(segment);
    return true;
}

bool GrowingTranscript::setVolatile(Speaker speaker, const QString& text) {
    if (m_volatile.value(speaker) == text) {
        return false;
    }
    if (text.isEmpty()) {
        m_volatile.remove(speaker);
    } else {
        m_volatile.insert(speaker, text);
    }
    return true;
}

TranscriptSegments GrowingTranscript::leftover(double start) const {
    TranscriptSegments segments;
    for (const auto& [speaker, text] : m_volatile.asKeyValueRange()) {
        segments.append({.speaker = speaker, .start = start, .text = text});
    }
    return segments;
}

}  // namespace lumbro
