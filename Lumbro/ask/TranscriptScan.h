#pragma once

#include "library/formats/TranscriptSegment.h"

#include <QByteArray>
#include <QByteArrayView>

#include <span>
#include <vector>

namespace lumbro {

/// Reads the plain kind of `transcript.json` without making a tree of values: the four keys of each segment
/// in the order that we write them. One object may read many files, one after another.
class TranscriptScan {
  public:
    struct Segment {
        Speaker speaker = Speaker::me;
        double start = 0;
        /// UTF-8.
        QByteArrayView text;
    };

    /// False when the bytes are of any other kind, whether a transcript or not: `transcript::decode` must
    /// then decide. The bytes must outlive the use of `segments`. Any thread.
    bool read(QByteArrayView bytes);
    /// In the order of the file.
    std::span<const Segment> segments() const { return m_segments; }

  private:
    std::vector<Segment> m_segments;
    /// The texts that had escapes.
    QByteArray m_unescaped;
};

}  // namespace lumbro
