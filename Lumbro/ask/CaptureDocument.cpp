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
/// So many hits of a capture count.
constexpr int mostCounted = 10;

bool isAscii(QByteArrayView text) {
    unsigned char all = 0;
    for (const char byte : text) {
        all |= static_cast<unsigned char>(byte);
    }
    return all < 0x80;
}

/// By the letter alone first: a search shows thousands of lines, and nearly none has one.
bool hasLink(QByteArrayView text) {
    return text.contains('[') && text.contains("[[");
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

/// Makes ASCII lower case, which is nearly all of most texts. `out` may be `text`.
void foldAscii(QByteArrayView text, char* out) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        out[i] = char(byte + ((byte - unsigned('A') < 26U) ? 0x20 : 0));
    }
}

/// Makes lower case in place of the letters and signs that European languages add to ASCII; none of them is
/// composed of others. False when there are any others.
bool foldLatin(char* text, qsizetype size) {
    constexpr quint64 highBits = 0x8080808080808080;
    for (qsizetype i = 0; i < size; ++i) {
        quint64 eight = highBits;
        while (i + 8 <= size && (std::memcpy(&eight, text + i, sizeof eight), (eight & highBits) == 0)) {
            i += 8;
        }
        const auto byte = i < size ? static_cast<unsigned char>(text[i]) : 0;
        if (byte < 0x80) {
            continue;
        }
        const auto next = static_cast<unsigned char>(text[++i]);
        if (byte == 0xC3) {
            // U+00C0 to U+00DE, but for the sign of multiplication.
            const bool isCapital = next <= 0x9E && next != 0x97;
            text[i] = char(next + (isCapital ? 0x20 : 0));
        } else if (byte == 0xE2 && next == 0x80 && static_cast<unsigned char>(text[i + 1]) > 0x81) {
            ++i;  // Dashes, quotation marks and the ellipsis.
        } else if (byte != 0xC2) {
            return false;
        }
    }
    return true;
}

template <typename T>
char* putBytes(char* place, const T* values, qsizetype count) {
    std::memcpy(place, values, size_t(count) * sizeof(T));
    return place + size_t(count) * sizeof(T);
}

}  // namespace

void CaptureDocument::Match::keepIfBest(const Hit& hit) {
    size_t place = count;
    while (place > 0 && best[place - 1].score < hit.score) {
        --place;
    }
    if (place == best.size()) {
        return;
    }
    count = std::min(count + 1, best.size());
    std::move_backward(best.begin() + place, best.begin() + count - 1, best.begin() + count);
    best[place] = hit;
}

QByteArrayView CaptureDocument::text(size_t line) const {
    // Between two lines stands one byte.
    const qsizetype end = line + 1 < size() ? m_lines[line + 1].begin - 1 : m_text.size();
    return m_text.sliced(m_lines[line].begin, end - m_lines[line].begin);
}

QByteArrayView CaptureDocument::folded(size_t line) const {
    const qsizetype end = line + 1 < size() ? m_lines[line + 1].foldedBegin - 1 : m_foldedLines;
    return m_folded.sliced(m_lines[line].foldedBegin, end - m_lines[line].foldedBegin);
}

std::optional<CaptureDocument::Match> CaptureDocument::match(std::span<const searchText::Needle> needles,
                                                             std::vector<int>& counts) const {
    // Most captures are left out here, before any line is looked at.
    const qsizetype first = needles.front().find(m_folded);
    const bool hasAll = first >= 0 && std::ranges::all_of(needles.subspan(1), [this](const auto& needle) {
                            return needle.isIn(m_folded);
                        });
    if (!hasAll) {
        return std::nullopt;
    }
    return needles.size() == 1 ? matchOne(needles.front(), first) : matchAll(needles, counts);
}

int CaptureDocument::points(size_t line, int terms) const {
    return terms * pointsOfTerm + (m_lines[line].kind == SearchHit::Kind::notes ? pointsOfNotes : 0);
}

/// For one term, which every line has once or not at all, the first lines tell nearly all: a frequent word
/// takes no longer than a rare one.
CaptureDocument::Match CaptureDocument::matchOne(const searchText::Needle& needle, qsizetype first) const {
    const auto lines = m_folded.first(m_foldedLines);
    Match match;
    int found = 0;
    int inTitle = 0;
    size_t line = 0;
    for (qsizetype place = first; place >= 0 && place < m_foldedLines;) {
        while (line + 1 < size() && m_lines[line + 1].foldedBegin <= place) {
            ++line;
        }
        inTitle += line == 0 ? 1 : 0;
        ++found;
        match.keepIfBest({line, points(line, 1)});
        ++line;
        if (found >= mostCounted && match.count == match.best.size()) {
            // Only the notes can have better lines.
            line = std::max(line, m_notesBegin);
            if (line >= m_notesEnd || match.best.back().score > pointsOfTerm) {
                break;
            }
        }
        place = line < size() ? needle.find(lines, m_lines[line].foldedBegin) : -1;
    }
    match.score = inTitle * pointsOfTitle + std::min(found, mostCounted) +
                  (match.count == 0 ? 0 : match.best.front().score);
    return match;
}

CaptureDocument::Match CaptureDocument::matchAll(std::span<const searchText::Needle> needles,
                                                 std::vector<int>& counts) const {
    counts.assign(size(), 0);
    const auto lines = m_folded.first(m_foldedLines);
    for (const searchText::Needle& needle : needles) {
        size_t line = 0;
        for (qsizetype place = needle.find(lines); place >= 0;) {
            while (line + 1 < size() && m_lines[line + 1].foldedBegin <= place) {
                ++line;
            }
            ++counts[line];
            place = line + 1 < size() ? needle.find(lines, m_lines[line + 1].foldedBegin) : -1;
        }
    }
    Match match;
    int found = 0;
    for (size_t line = 0; line < size(); ++line) {
        if (counts[line] > 0) {
            match.keepIfBest({line, points(line, counts[line])});
            ++found;
        }
    }
    match.score = (counts.empty() ? 0 : counts.front() * pointsOfTitle) + std::min(found, mostCounted) +
                  (match.count == 0 ? 0 : match.best.front().score);
    return match;
}

QString CaptureDocument::snippet(size_t line, std::span<const searchText::Needle> needles) const {
    const QByteArrayView shown = text(line);
    if (!m_lines[line].isAligned || hasLink(shown)) {
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
    return m_lines[line].isAscii ? highlight::asciiPiece(shown, first) : highlight::piece(shown, first);
}

void CaptureDocumentBuilder::add(SearchHit::Kind kind, QByteArrayView text) {
    if (!m_lines.empty()) {
        m_text.append('\n');
    }
    CaptureDocument::Line& line = m_lines.emplace_back();
    line.kind = kind;
    line.begin = quint32(m_text.size());
    line.handoff = quint16(std::max(qsizetype(1), m_handoffs.size()) - 1);
    append(text);
}

void CaptureDocumentBuilder::addSpeech(Speaker speaker, double time, QByteArrayView text) {
    add(SearchHit::Kind::transcript, text);
    m_lines.back().speaker = speaker;
    m_lines.back().time = time;
}

void CaptureDocumentBuilder::append(QByteArrayView text) {
    const qsizetype before = m_text.size();
    m_text.resize(before + text.size());
    std::ranges::copy(text, m_text.data() + before);
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
    fold();
    const qsizetype lines = m_folded.size();
    m_folded += '\n' + rawValue(kind).toUtf8();
    CaptureDocument document;
    const auto count = std::ssize(m_lines);
    document.m_memory = m_blocks.take(m_lines.size() * sizeof(CaptureDocument::Line) +
                                      size_t(m_folded.size() + m_text.size()));
    char* begin = reinterpret_cast<char*>(document.m_memory.get());
    char* folded = putBytes(begin, m_lines.data(), count);
    char* text = putBytes(folded, m_folded.constData(), m_folded.size());
    putBytes(text, m_text.constData(), m_text.size());
    document.m_lines = {reinterpret_cast<const CaptureDocument::Line*>(begin), m_lines.size()};
    document.m_folded = QByteArrayView(folded, m_folded.size());
    document.m_text = QByteArrayView(text, m_text.size());
    document.m_foldedLines = lines;
    const auto isNotes = [](const CaptureDocument::Line& line) {
        return line.kind == SearchHit::Kind::notes;
    };
    const auto notes = std::ranges::find_if(document.m_lines, isNotes);
    document.m_notesBegin = size_t(notes - document.m_lines.begin());
    document.m_notesEnd =
        size_t(std::find_if_not(notes, document.m_lines.end(), isNotes) - document.m_lines.begin());
    document.m_handoffs = std::exchange(m_handoffs, {});
    m_text.resize(0);
    m_lines.clear();
    return document;
}

/// Makes the folded form of all lines; the text may become composed.
void CaptureDocumentBuilder::fold() {
    m_folded.resize(m_text.size());
    foldAscii(m_text, m_folded.data());
    if (foldLatin(m_folded.data(), m_folded.size())) {
        const char* end = m_text.constData() + m_text.size();
        for (size_t i = m_lines.size(); i-- > 0;) {
            CaptureDocument::Line& line = m_lines[i];
            line.foldedBegin = line.begin;
            const char* begin = m_text.constData() + line.begin;
            line.isAscii = isAscii(QByteArrayView(begin, end));
            end = begin;
        }
        return;
    }
    // Composed, as the terms are: a letter and its accent may also have come as two.
    const QByteArray text = std::exchange(m_text, {});
    m_folded.resize(0);
    for (size_t i = 0; i < m_lines.size(); ++i) {
        CaptureDocument::Line& line = m_lines[i];
        const qsizetype end = i + 1 < m_lines.size() ? m_lines[i + 1].begin - 1 : text.size();
        const QString composed = QString::fromUtf8(QByteArrayView(text).sliced(line.begin, end - line.begin))
                                     .normalized(QString::NormalizationForm_C);
        const QByteArray shown = composed.toUtf8();
        const QByteArray folded = composed.toLower().toUtf8();
        line.isAligned = areAligned(shown, folded);
        line.begin = quint32(m_text.size());
        line.foldedBegin = quint32(m_folded.size());
        m_text += shown + '\n';
        m_folded += folded + '\n';
    }
    m_text.chop(1);
    m_folded.chop(1);
}

}  // namespace lumbro
