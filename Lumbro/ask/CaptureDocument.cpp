#include "ask/CaptureDocument.h"

#include "ask/Highlight.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace lumbro {

namespace {

constexpr int pointsOfTerm = 10;
constexpr int pointsOfNotes = 3;
constexpr int pointsOfTitle = 30;
constexpr qsizetype most = CaptureResult::maxHits;

bool isAscii(QByteArrayView text) {
    unsigned char all = 0;
    for (const char byte : text) {
        all |= static_cast<unsigned char>(byte);
    }
    return all < 0x80;
}

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// The characters of both forms stand at the same bytes.
bool areAligned(QByteArrayView text, QByteArrayView folded) {
    return text.size() == folded.size() &&
           std::equal(text.begin(), text.end(), folded.begin(),
                      [](char left, char right) { return continues(left) == continues(right); });
}

void keepBest(std::vector<CaptureDocument::Match::Hit>& hits, CaptureDocument::Match::Hit hit) {
    const auto place = std::ranges::upper_bound(hits, hit.score, std::ranges::greater(),
                                                &CaptureDocument::Match::Hit::score);
    if (place - hits.begin() < most) {
        hits.insert(place, hit);
        hits.resize(std::min(hits.size(), size_t(most)));
    }
}

}  // namespace

QByteArrayView CaptureDocument::text(size_t line) const {
    // Between two lines stands one byte.
    const qsizetype end = line + 1 < size() ? m_lines[line + 1].begin - 1 : m_text.size();
    return QByteArrayView(m_text).sliced(m_lines[line].begin, end - m_lines[line].begin);
}

QByteArrayView CaptureDocument::folded(size_t line) const {
    const qsizetype end = line + 1 < size() ? m_lines[line + 1].foldedBegin - 1 : m_foldedLines;
    return QByteArrayView(m_folded).sliced(m_lines[line].foldedBegin, end - m_lines[line].foldedBegin);
}

size_t CaptureDocument::lineAt(qsizetype place) const {
    const auto next = std::ranges::upper_bound(m_lines, quint32(place), {}, &Line::foldedBegin);
    return size_t(next - m_lines.begin()) - 1;
}

std::optional<CaptureDocument::Match> CaptureDocument::match(std::span<const searchText::Needle> needles,
                                                             std::vector<int>& counts) const {
    // Most captures are left out here, before any line is looked at.
    if (!std::ranges::all_of(needles, [this](const auto& needle) { return needle.isIn(m_folded); })) {
        return std::nullopt;
    }
    counts.assign(size(), 0);
    const auto lines = QByteArrayView(m_folded).first(m_foldedLines);
    for (const searchText::Needle& needle : needles) {
        for (qsizetype place = needle.find(lines); place >= 0;) {
            const size_t line = lineAt(place);
            ++counts[line];
            place = line + 1 < size() ? needle.find(lines, m_lines[line + 1].foldedBegin) : -1;
        }
    }
    Match match;
    int all = 0;
    for (size_t line = 0; line < size(); ++line) {
        if (counts[line] > 0) {
            const bool isNotes = m_lines[line].kind == SearchHit::Kind::notes;
            keepBest(match.hits, {line, counts[line] * pointsOfTerm + (isNotes ? pointsOfNotes : 0)});
            ++all;
        }
    }
    constexpr int mostCounted = 10;
    match.score = (counts.empty() ? 0 : counts.front() * pointsOfTitle) + std::min(all, mostCounted) +
                  (match.hits.empty() ? 0 : match.hits.front().score);
    return match;
}

QString CaptureDocument::snippet(size_t line, std::span<const searchText::Needle> needles) const {
    const QByteArrayView shown = text(line);
    if (!m_lines[line].isAligned || shown.contains("[[")) {
        QStringList terms;
        for (const searchText::Needle& needle : needles) {
            terms += QString::fromUtf8(needle.term());
        }
        return highlight::snippet(QString::fromUtf8(shown), terms);
    }
    qsizetype first = -1;
    for (const searchText::Needle& needle : needles) {
        const qsizetype place = needle.find(folded(line));
        first = place >= 0 && (first < 0 || place < first) ? place : first;
    }
    return highlight::piece(shown, first);
}

void CaptureDocumentBuilder::add(SearchHit::Kind kind, QByteArrayView text) {
    closeLine();
    CaptureDocument::Line& line = m_lines.emplace_back();
    line.kind = kind;
    line.begin = quint32(m_text.size());
    line.foldedBegin = quint32(m_folded.size());
    line.handoff = quint16(std::max(qsizetype(1), m_handoffs.size()) - 1);
    append(text);
}

void CaptureDocumentBuilder::addSpeech(Speaker speaker, double time, QByteArrayView text) {
    add(SearchHit::Kind::transcript, text);
    m_lines.back().speaker = speaker;
    m_lines.back().time = time;
}

void CaptureDocumentBuilder::append(QByteArrayView text) {
    m_text.append(text);
}

void CaptureDocumentBuilder::addLines(SearchHit::Kind kind, QByteArrayView text, bool skipsHeadings) {
    while (!text.isEmpty()) {
        const qsizetype end = text.indexOf('\n');
        const QByteArrayView line = end < 0 ? text : text.first(end);
        // No term has blanks, so a blank line can never be found.
        if (!line.trimmed().isEmpty() && !(skipsHeadings && line.startsWith('#'))) {
            add(kind, line.endsWith('\r') ? line.chopped(1) : line);
        }
        text = end < 0 ? QByteArrayView() : text.sliced(end + 1);
    }
}

void CaptureDocumentBuilder::beginHandoff(const QString& engine) {
    m_handoffs.append(engine);
}

CaptureDocument CaptureDocumentBuilder::take(CaptureKind kind) {
    closeLine();
    CaptureDocument document;
    if (!m_lines.empty()) {
        m_text.chop(1);
        m_folded.chop(1);
    }
    document.m_foldedLines = m_folded.size();
    m_folded += '\n' + rawValue(kind).toUtf8();
    // Copies, which are as long as they need to be; the room stays for the next document.
    document.m_text = QByteArray(m_text.constData(), m_text.size());
    document.m_folded = QByteArray(m_folded.constData(), m_folded.size());
    document.m_lines = std::vector(m_lines.begin(), m_lines.end());
    document.m_handoffs = std::exchange(m_handoffs, {});
    m_text.resize(0);
    m_folded.resize(0);
    m_lines.clear();
    return document;
}

void CaptureDocumentBuilder::closeLine() {
    if (m_lines.empty()) {
        return;
    }
    CaptureDocument::Line& line = m_lines.back();
    const auto text = QByteArrayView(m_text).sliced(line.begin);
    if (!foldFast(text)) {
        // Composed, as the terms are: a letter and its accent may also have come as two.
        const QString composed = QString::fromUtf8(text).normalized(QString::NormalizationForm_C);
        m_folded += composed.toLower().toUtf8();
        m_text.truncate(line.begin);
        m_text += composed.toUtf8();
        line.isAligned = areAligned(QByteArrayView(m_text).sliced(line.begin),
                                    QByteArrayView(m_folded).sliced(line.foldedBegin));
    }
    m_text += '\n';
    m_folded += '\n';
}

/// Folds plain ASCII text, which most text is, with the letters and signs that European languages add to it.
/// None of them is composed of others. False, with nothing added, for any other text.
bool CaptureDocumentBuilder::foldFast(QByteArrayView text) {
    const qsizetype begin = m_folded.size();
    m_folded.resize(begin + text.size());
    char* out = m_folded.data() + begin;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        out[i] = char(byte + ((byte - unsigned('A') < 26U) ? 0x20 : 0));
    }
    if (isAscii(text)) {
        return true;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            continue;
        }
        const auto next = static_cast<unsigned char>(text[++i]);
        if (byte == 0xC3) {
            // U+00C0 to U+00DE, but for the sign of multiplication.
            const bool isCapital = next <= 0x9E && next != 0x97;
            out[i] = char(next + (isCapital ? 0x20 : 0));
        } else if (byte == 0xE2 && next == 0x80 && static_cast<unsigned char>(text[i + 1]) > 0x81) {
            ++i;  // Dashes, quotation marks and the ellipsis.
        } else if (byte != 0xC2) {
            m_folded.truncate(begin);
            return false;
        }
    }
    return true;
}

}  // namespace lumbro
