#include "ask/SearchText.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumbro::searchText {

namespace {

/// How often a byte stands in texts, roughly: the higher the more often.
int frequency(char byte) {
    constexpr std::string_view seldomToOften = "zqjxkvbpgywfmculdrhsnioate ";
    const auto place = seldomToOften.find(byte);
    if (place != std::string_view::npos) {
        return int(place) + 8;
    }
    // The first byte of most letters with accents.
    return byte == '\xc3' ? 7 : 1;
}

bool isAt(const char* place, const QByteArray& term) {
    return std::memcmp(place, term.constData(), size_t(term.size())) == 0;
}

}  // namespace

QByteArray folded(QStringView text) {
    return text.toString().normalized(QString::NormalizationForm_C).toLower().toUtf8();
}

Needle::Needle(QByteArray term) : m_term(std::move(term)) {
    std::vector<qsizetype> places(static_cast<size_t>(m_term.size()));
    for (size_t i = 0; i < places.size(); ++i) {
        places[i] = qsizetype(i);
    }
    std::ranges::stable_sort(places, {}, [this](qsizetype place) { return frequency(m_term.at(place)); });
    m_rare = places.front();
    m_second = places[std::min(places.size() - 1, size_t(1))];
    m_third = places[std::min(places.size() - 1, size_t(2))];
}

qsizetype Needle::find(QByteArrayView text, qsizetype from) const {
    const qsizetype end = text.size() - m_term.size() + 1;
    const char* data = text.data();
    qsizetype at = from;
#ifdef __SSE2__
    // The C library's search takes several times as long, since its time goes with the letters of the term.
    constexpr qsizetype step = 16;
    const auto equal = [](const char* place, const __m128i& byte) {
        return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(place)), byte);
    };
    const __m128i rare = _mm_set1_epi8(m_term.at(m_rare));
    const __m128i second = _mm_set1_epi8(m_term.at(m_second));
    const __m128i third = _mm_set1_epi8(m_term.at(m_third));
    const auto candidates = [&](qsizetype place) {
        const __m128i two =
            _mm_and_si128(equal(data + place + m_rare, rare), equal(data + place + m_second, second));
        return _mm_and_si128(two, equal(data + place + m_third, third));
    };
    for (; at + 4 * step <= end; at += 4 * step) {
        const __m128i blocks[4] = {candidates(at), candidates(at + step), candidates(at + 2 * step),
                                   candidates(at + 3 * step)};
        const __m128i any =
            _mm_or_si128(_mm_or_si128(blocks[0], blocks[1]), _mm_or_si128(blocks[2], blocks[3]));
        if (_mm_movemask_epi8(any) == 0) {
            continue;
        }
        for (qsizetype block = 0; block < 4; ++block) {
            for (auto bits = unsigned(_mm_movemask_epi8(blocks[block])); bits != 0; bits &= bits - 1) {
                const qsizetype place = at + block * step + std::countr_zero(bits);
                if (isAt(data + place, m_term)) {
                    return place;
                }
            }
        }
    }
#endif
    for (; at < end; ++at) {
        const void* next = std::memchr(data + at + m_rare, m_term.at(m_rare), size_t(end - at));
        if (next == nullptr) {
            return -1;
        }
        at = static_cast<const char*>(next) - data - m_rare;
        if (isAt(data + at, m_term)) {
            return at;
        }
    }
    return -1;
}

void TextList::clear() {
    m_text.clear();
    m_begins.clear();
}

void TextList::add(QStringView text) {
    m_begins.push_back(m_text.size());
    // No term holds a line end, so none reaches from one text into the next.
    m_text += folded(text) + '\n';
}

std::vector<qsizetype> TextList::matching(std::span<const Needle> needles) const {
    std::vector<qsizetype> found;
    const Needle& first = needles.front();
    qsizetype at = first.find(m_text);
    while (at >= 0) {
        const auto next = std::ranges::upper_bound(m_begins, at);
        const qsizetype index = next - m_begins.begin() - 1;
        const qsizetype begin = m_begins[static_cast<size_t>(index)];
        const qsizetype end = next == m_begins.end() ? m_text.size() : *next;
        const auto text = QByteArrayView(m_text).sliced(begin, end - begin);
        if (std::ranges::all_of(needles, [text](const Needle& needle) { return needle.isIn(text); })) {
            found.push_back(index);
        }
        at = first.find(m_text, end);
    }
    return found;
}

}  // namespace lumbro::searchText
