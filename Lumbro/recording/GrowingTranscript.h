#pragma once

#include "library/formats/TranscriptSegment.h"

#include <QMap>
#include <QString>

namespace lumbro {

/// The words of a running recording: final ones, and the guesses that are still open. Main thread.
class GrowingTranscript {
  public:
    /// Final text in the order of its arrival.
    const TranscriptSegments& segments() const { return m_segments; }
    /// The latest text of each speaker that is not final yet. Never an empty text.
    const QMap<Speaker, QString>& volatileText() const { return m_volatile; }
    /// Pieces between single blanks, over all segments.
    int wordCount() const;

    /// False when the segment is dropped: an echo of what the other side said.
    bool append(const TranscriptSegment& segment);
    /// False when that changes nothing. An empty text means none.
    bool setVolatile(Speaker speaker, const QString& text);
    /// What is not final yet, as segments that start at this second.
    TranscriptSegments leftover(double start) const;

  private:
    TranscriptSegments m_segments;
    QMap<Speaker, QString> m_volatile;
};

}  // namespace lumbro
