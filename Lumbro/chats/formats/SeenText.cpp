#include "chats/formats/SeenText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

constexpr qsizetype nowhere = -1;

struct Range {
    char16_t first;
    char16_t last;
};

/// What Unicode lets programs show as nothing: soft hyphens, joiners, direction marks, selectors, fillers.
constexpr std::array unseen{Range{0x00ad, 0x00ad}, Range{0x034f, 0x034f}, Range{0x061c, 0x061c},
                            Range{0x115f, 0x1160}, Range{0x17b4, 0x17b5}, Range{0x180b, 0x180f},
                            Range{0x200b, 0x200f}, Range{0x202a, 0x202e}, Range{0x2060, 0x206f},
                            Range{0x3164, 0x3164}, Range{0xfe00, 0xfe0f}, Range{0xfeff, 0xfeff},
                            Range{0xffa0, 0xffa0}, Range{0xfff0, 0xfffb}};

bool isUnseen(char16_t unit) {
    return unit >= unseen.front().first && std::ranges::any_of(unseen, [unit](const Range& range) {
               return unit >= range.first && unit <= range.last;
           });
}

/// Tags and further selectors, which take two units each.
bool isUnseenPair(char16_t high, char16_t low) {
    constexpr char16_t tags = 0xdb40;
    return high == tags && low >= 0xdc00 && low <= 0xdfff;
}

/// How many units at this place are unseen.
qsizetype unseenAt(QStringView text, qsizetype at) {
    const char16_t unit = text[at].unicode();
    if (at + 1 < text.size() && isUnseenPair(unit, text[at + 1].unicode())) {
        return 2;
    }
    return isUnseen(unit) ? 1 : 0;
}

}  // namespace

SeenText::SeenText(const QString& whole) : m_whole(whole) {
    m_text.reserve(whole.size());
    m_places.reserve(size_t(whole.size()));
    for (qsizetype i = 0; i < whole.size();) {
        if (const qsizetype skipped = unseenAt(whole, i); skipped > 0) {
            i += skipped;
            continue;
        }
        m_text += whole[i];
        m_places.push_back(i++);
    }
}

bool SeenText::isNeededFor(QStringView text) {
    // Most texts are ASCII, which is found out at the speed of memory.
    constexpr char16_t ascii = 0x7f;
    char16_t all = 0;
    for (const QChar c : text) {
        all |= c.unicode();
    }
    if (all <= ascii) {
        return false;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (unseenAt(text, i) > 0) {
            return true;
        }
    }
    return false;
}

void SeenText::append(const SeenText& from, qsizetype begin, qsizetype end) {
    m_text += QStringView(from.m_text).sliced(begin, end - begin);
    m_places.insert(m_places.end(), from.m_places.begin() + begin, from.m_places.begin() + end);
}

void SeenText::appendReplacement(const SeenText& from, const QRegularExpressionMatch& match,
                                 const QString& replacement) {
    for (qsizetype i = 0; i < replacement.size(); ++i) {
        const bool isGroup =
            replacement[i] == u'\\' && i + 1 < replacement.size() && replacement[i + 1].isDigit();
        if (!isGroup) {
            m_text += replacement[i];
            m_places.push_back(nowhere);
        } else if (const int group = replacement[++i].digitValue(); match.hasCaptured(group)) {
            append(from, match.capturedStart(group), match.capturedEnd(group));
        }
    }
}

bool SeenText::replace(const QRegularExpression& pattern, const QString& replacement,
                       const QString& unsearched) {
    SeenText result;
    qsizetype copied = 0;
    QRegularExpressionMatchIterator matches = pattern.globalMatch(m_text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        result.append(*this, copied, match.capturedStart());
        result.appendReplacement(*this, match, replacement);
        copied = match.capturedEnd();
    }
    const bool isSearched = matches.isValid();
    if (isSearched) {
        result.append(*this, copied, copied > 0 ? m_text.size() : 0);
    } else {
        result.m_text += unsearched;
        result.m_places.resize(size_t(result.m_text.size()), nowhere);
    }
    if (copied > 0 || !isSearched) {
        m_text = std::move(result.m_text);
        m_places = std::move(result.m_places);
    }
    return isSearched;
}

QString SeenText::whole() const {
    QString result;
    result.reserve(m_whole.size());
    // The place behind the last character that stayed; at both ends the text itself has none.
    qsizetype behind = 0;
    for (qsizetype i = 0; i <= m_text.size(); ++i) {
        const qsizetype place = i < m_text.size() ? m_places[size_t(i)] : m_whole.size();
        if (place != nowhere && behind != nowhere && place > behind) {
            result += QStringView(m_whole).sliced(behind, place - behind);
        }
        if (i < m_text.size()) {
            result += m_text[i];
            behind = place == nowhere ? nowhere : place + 1;
        }
    }
    return result;
}

}  // namespace lumbro
