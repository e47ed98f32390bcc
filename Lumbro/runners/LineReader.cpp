#include "runners/LineReader.h"

#include <utility>

namespace lumbro {

namespace {

constexpr qsizetype longestLine = qsizetype(64) * 1024 * 1024;

}  // namespace

void LineReader::append(QByteArrayView part) {
    if (m_tooLong || m_line.size() + part.size() > longestLine) {
        m_tooLong = true;
        m_line.clear();
        return;
    }
    m_line.append(part);
}

void LineReader::feed(const QByteArray& piece) {
    qsizetype start = 0;
    for (qsizetype end = piece.indexOf('\n'); end >= 0; end = piece.indexOf('\n', start)) {
        append(QByteArrayView(piece).sliced(start, end - start));
        finish();
        start = end + 1;
    }
    append(QByteArrayView(piece).sliced(start));
}

void LineReader::finish() {
    const QByteArray line = std::exchange(m_line, {});
    m_tooLong = false;
    if (!line.isEmpty()) {
        m_onLine(line);
    }
}

}  // namespace lumbro
