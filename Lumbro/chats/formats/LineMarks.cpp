#include "chats/formats/LineMarks.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace lumbro {

namespace {

bool startsWith(const char* at, std::string_view text) {
    return std::memcmp(at, text.data(), text.size()) == 0;
}

constexpr qsizetype width = 64;

/// A bit for each of the `width` bytes at `at` that ends a line or may begin a mark: all marks begin with
/// "ty, "to or -ti. Reads two bytes more.
uint64_t plainCandidates(const char* at) {
    uint64_t found = 0;
    for (qsizetype i = 0; i < width; ++i) {
        const bool begins = (at[i] == '"' || at[i] == '-') && at[i + 1] == 't';
        found |= uint64_t(begins || at[i] == '\n') << unsigned(i);
    }
    return found;
}

#ifdef __x86_64__
[[gnu::target("avx2"), gnu::always_inline]] inline uint32_t halfCandidates(const char* at) {
    const __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
    const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 1));
    const __m256i third = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 2));
    // With two bits set, "i" and "o" are one letter, and only "k" and "m" beside them.
    const __m256i likeO = _mm256_or_si256(third, _mm256_set1_epi8(0x06));
    const __m256i goesOn = _mm256_or_si256(_mm256_cmpeq_epi8(likeO, _mm256_set1_epi8('o')),
                                           _mm256_cmpeq_epi8(third, _mm256_set1_epi8('y')));
    const __m256i opens = _mm256_or_si256(_mm256_cmpeq_epi8(here, _mm256_set1_epi8('"')),
                                          _mm256_cmpeq_epi8(here, _mm256_set1_epi8('-')));
    const __m256i begins =
        _mm256_and_si256(_mm256_and_si256(opens, goesOn), _mm256_cmpeq_epi8(second, _mm256_set1_epi8('t')));
    const __m256i ends = _mm256_cmpeq_epi8(here, _mm256_set1_epi8('\n'));
    return uint32_t(_mm256_movemask_epi8(_mm256_or_si256(begins, ends)));
}

[[gnu::target("avx2"), gnu::always_inline]] inline uint64_t wideCandidates(const char* at) {
    return halfCandidates(at) | uint64_t(halfCandidates(at + width / 2)) << unsigned(width / 2);
}

[[gnu::target("avx512bw"), gnu::always_inline]] inline uint64_t widestCandidates(const char* at) {
    const auto is = [](__m512i bytes, char c) __attribute__((target("avx512bw"), always_inline)) {
        return uint64_t(_mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(c)));
    };
    const __m512i here = _mm512_loadu_si512(at);
    const __m512i third = _mm512_loadu_si512(at + 2);
    const uint64_t opens = (is(here, '"') | is(here, '-')) & is(_mm512_loadu_si512(at + 1), 't');
    const uint64_t goesOn = is(_mm512_or_si512(third, _mm512_set1_epi8(0x06)), 'o') | is(third, 'y');
    return (opens & goesOn) | is(here, '\n');
}
#endif

/// The first of the places from `at` on, by 64, with a candidate; `to` or beyond without one.
using Skip = qsizetype (*)(const char* data, qsizetype at, qsizetype to, uint64_t& found);

qsizetype plainSkip(const char* data, qsizetype at, qsizetype to, uint64_t& found) {
    while (at < to && (found = plainCandidates(data + at)) == 0) {
        at += width;
    }
    return at;
}

#ifdef __x86_64__
[[gnu::target("avx2")]] qsizetype wideSkip(const char* data, qsizetype at, qsizetype to, uint64_t& found) {
    while (at < to && (found = wideCandidates(data + at)) == 0) {
        at += width;
    }
    return at;
}

[[gnu::target("avx512bw")]] qsizetype widestSkip(const char* data, qsizetype at, qsizetype to,
                                                 uint64_t& found) {
    while (at < to && (found = widestCandidates(data + at)) == 0) {
        at += width;
    }
    return at;
}
#endif

Skip bestSkip() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512bw") != 0) {
        return widestSkip;
    }
    if (__builtin_cpu_supports("avx2") != 0) {
        return wideSkip;
    }
#endif
    return plainSkip;
}

}  // namespace

/// `line` is where the line begins, or null when that is no longer known.
void LineMarks::take(const char* line, const char* at) {
    constexpr std::string_view type = "\"type\":\"";
    if (*at == '-') {
        title = title || startsWith(at, "-title\"");
    } else if (startsWith(at, type)) {
        const char* const word = at + type.size();
        user = user || startsWith(word, "user\"");
        assistant = assistant || startsWith(word, "assistant\"");
        text = text || startsWith(word, "text\"");
        // Before any other bracket it is the line's own.
        const bool isOwn = !m_isTyped && line != nullptr && at > line &&
                           std::memchr(line + 1, '{', size_t(at - line - 1)) == nullptr;
        m_isUser = m_isUser || (isOwn && user);
        m_isTyped = true;
    } else {
        toolResult = toolResult || startsWith(at, "\"tool_result\"");
    }
    // What a tool gave is most of a transcript.
    m_isOver = m_isUser && toolResult && !title;
}

qsizetype LineMarks::search(const char* data, qsizetype from, qsizetype to) {
    static const Skip skip = bestSkip();
    const char* const line = m_isBegun ? nullptr : data + from;
    m_isBegun = true;
    qsizetype last = from;
    qsizetype at = from;
    uint64_t found = 0;
    while (!m_isOver && (at = skip(data, at, to, found)) < to) {
        for (; found != 0 && !m_isOver; found &= found - 1) {
            last = at + std::countr_zero(found);
            if (last >= to) {
                return to;
            }
            if (data[last] == '\n') {
                return last;
            }
            take(line, data + last);
        }
        at += width;
    }
    const void* const end =
        m_isOver && last < to ? std::memchr(data + last, '\n', size_t(to - last)) : nullptr;
    return end == nullptr ? to : static_cast<const char*>(end) - data;
}

}  // namespace lumbro
