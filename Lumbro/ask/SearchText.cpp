#include "ask/SearchText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#ifdef __x86_64__
#include <immintrin.h>
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

/// Three bytes of a term and their places in it.
struct Probe {
    std::array<qsizetype, 3> places;
    std::array<char, 3> bytes;
};

/// So many places are looked at in one step.
constexpr qsizetype width = 64;

/// The first of the places from `at` on, by `width`, where a term may begin, with a bit for each; `found` is
/// 0 when no whole step before `end` has one.
using Skip = qsizetype (*)(const char* data, qsizetype at, qsizetype end, const Probe& probe,
                           uint64_t& found);

#ifdef __x86_64__
qsizetype narrowSkip(const char* data, qsizetype at, qsizetype end, const Probe& probe, uint64_t& found) {
    constexpr qsizetype step = 16;
    const auto equal = [data](qsizetype place, const __m128i& byte) {
        return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data + place)), byte);
    };
    const auto [rare, second, third] = probe.places;
    const __m128i bytes[] = {_mm_set1_epi8(probe.bytes[0]), _mm_set1_epi8(probe.bytes[1]),
                             _mm_set1_epi8(probe.bytes[2])};
    found = 0;
    for (; at + width <= end; at += width) {
        for (qsizetype part = 0; part < width; part += step) {
            const qsizetype here = at + part;
            const __m128i two = _mm_and_si128(equal(here + rare, bytes[0]), equal(here + second, bytes[1]));
            const __m128i all = _mm_and_si128(two, equal(here + third, bytes[2]));
            found |= uint64_t(unsigned(_mm_movemask_epi8(all))) << unsigned(part);
        }
        if (found != 0) {
            break;
        }
    }
    return at;
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i equalBytes(const char* at, const __m256i& byte) {
    return _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)), byte);
}

[[gnu::target("avx2")]] qsizetype wideSkip(const char* data, qsizetype at, qsizetype end, const Probe& probe,
                                           uint64_t& found) {
    constexpr qsizetype step = 32;
    const char* const rare = data + probe.places[0];
    const char* const second = data + probe.places[1];
    const char* const third = data + probe.places[2];
    const __m256i bytes[] = {_mm256_set1_epi8(probe.bytes[0]), _mm256_set1_epi8(probe.bytes[1]),
                             _mm256_set1_epi8(probe.bytes[2])};
    found = 0;
    for (; at + width <= end; at += width) {
        const __m256i low = _mm256_and_si256(
            _mm256_and_si256(equalBytes(rare + at, bytes[0]), equalBytes(second + at, bytes[1])),
            equalBytes(third + at, bytes[2]));
        const qsizetype next = at + step;
        const __m256i high = _mm256_and_si256(
            _mm256_and_si256(equalBytes(rare + next, bytes[0]), equalBytes(second + next, bytes[1])),
            equalBytes(third + next, bytes[2]));
        if (_mm256_testz_si256(_mm256_or_si256(low, high), _mm256_set1_epi8(-1)) == 0) {
            found = uint32_t(_mm256_movemask_epi8(low)) | uint64_t(uint32_t(_mm256_movemask_epi8(high)))
                                                              << unsigned(step);
            break;
        }
    }
    return at;
}
#else
qsizetype noSkip(const char* /*data*/, qsizetype at, qsizetype /*end*/, const Probe& /*probe*/,
                 uint64_t& found) {
    found = 0;
    return at;
}
#endif

Skip bestSkip() {
#ifdef __x86_64__
    return __builtin_cpu_supports("avx2") != 0 ? wideSkip : narrowSkip;
#else
    return noSkip;
#endif
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
    static const Skip skip = bestSkip();
    const qsizetype end = text.size() - m_term.size() + 1;
    const char* data = text.data();
    const Probe probe{{m_rare, m_second, m_third}, {m_term[m_rare], m_term[m_second], m_term[m_third]}};
    uint64_t found = 0;
    // The C library's search takes several times as long, since its time goes with the letters of the term.
    // An empty text has no bytes to point at.
    qsizetype at = end - from < width ? from : skip(data, from, end, probe, found);
    for (; found != 0; at = skip(data, at + width, end, probe, found)) {
        for (; found != 0; found &= found - 1) {
            const qsizetype place = at + std::countr_zero(found);
            if (isAt(data + place, m_term)) {
                return place;
            }
        }
    }
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
