#include "ask/formats/AnswerStream.h"

#include "LumbroCore/Literals.h"
#include "ask/formats/AskReply.h"

#include <algorithm>

namespace lumbro {

namespace {

/// Whether a line that begins so can still begin with the label, in any case.
bool mayBecome(QStringView label, QStringView begun) {
    const QString upper = begun.first(std::min(begun.size(), label.size())).toString().toUpper();
    return label.startsWith(upper) || upper.startsWith(label);
}

/// Whether a line that is still being written may turn out as one of sources or of an action.
bool mayBeMarked(QStringView line) {
    if (mayBecome(u"SOURCES:", line)) {
        return true;
    }
    const auto isDecoration = [](QChar c) { return QStringView(u" \t*`").contains(c); };
    const auto* word = std::find_if_not(line.begin(), line.end(), isDecoration);
    return mayBecome(u"ACTION:", line.sliced(word - line.begin()));
}

}  // namespace

void AnswerStream::readLines() {
    qsizetype end = 0;
    while (!m_isHeld && (end = m_all.indexOf(u'\n', m_lineStart)) >= 0) {
        const QString line = m_all.sliced(m_lineStart, end - m_lineStart);
        m_isHeld = AskReply::isSourcesLine(line) || AskReply::actionIn(line);
        if (!m_isHeld) {
            m_lineStart = end + 1;
            m_clear = m_lineStart;
        }
    }
    if (!m_isHeld && !mayBeMarked(QStringView(m_all).sliced(m_lineStart))) {
        m_clear = m_all.size();
    }
}

QString AnswerStream::feed(const QString& piece) {
    m_all += QString(piece).remove(u'\r').remove(QChar::Null);
    readLines();
    // White space at the end of what is clear may be the end of the answer, which is trimmed.
    const QString shown = m_all.first(m_clear).trimmed();
    const QString news = shown.sliced(std::min(m_shown, shown.size()));
    m_shown = shown.size();
    return news;
}

}  // namespace lumbro
