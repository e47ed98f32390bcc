#pragma once

#include <QByteArray>

namespace lumbro {

/// The number of words in a `transcript.json`; 0 when the bytes are no whole transcript. The same as decoding
/// it and counting, and many times as fast for a file in the layout that we write. Any thread.
int transcriptWords(const QByteArray& bytes);

}  // namespace lumbro
