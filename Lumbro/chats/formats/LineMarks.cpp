#include "chats/formats/LineMarks.h"

#include <bit>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumbro {

namespace {

bool startsWith(const char* at, std::string_view text) {
    return std::memcmp(at, text.data(), text.size()) == 0;
}

constexpr qsizetype width = 16;

/// A bit for each of the `width` bytes at `at` that ends a line or may begin a mark.
#ifdef __SSE2__
unsigned candidates(const char* at) {
    const auto load = [](const char* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    };
    const __m128i here = load(at);
    const __m128i next = load(at + 1);
    const __m128i opens =
        _mm_or_si128(_mm_cmpeq_epi8(here, _mm_set1_epi8('"')), _mm_cmpeq_epi8(here, _mm_set1_epi8('-')));
    const __m128i begins = _mm_and_si128(opens, _mm_cmpeq_epi8(next, _mm_set1_epi8('t')));
    const __m128i ends = _mm_cmpeq_epi8(here, _mm_set1_epi8('\n'));
    return unsigned(_mm_movemask_epi8(_mm_or_si128(begins, ends)));
}
#else
unsigned candidates(const char* at) {
    unsigned found = 0;
    for (qsizetype i = 0; i < width; ++i) {
        const bool begins = (at[i] == '"' || at[i] == '-') && at[i + 1] == 't';
        found |= unsigned(begins || at[i] == '\n') << unsigned(i);
    }
    return found;
}
#endif

}  // namespace

void LineMarks::take(const char* at) {
    constexpr std::string_view type = "\"type\":\"";
    if (*at == '-') {
        title = title || startsWith(at, "-title\"");
    } else if (startsWith(at, type)) {
        const char* const word = at + type.size();
        user = user || startsWith(word, "user\"");
        assistant = assistant || startsWith(word, "assistant\"");
        text = text || startsWith(word, "text\"");
    } else {
        toolResult = toolResult || startsWith(at, "\"tool_result\"");
    }
}

qsizetype LineMarks::search(const char* data, qsizetype from, qsizetype to) {
    for (qsizetype at = from; at < to; at += width) {
        unsigned found = candidates(data + at);
        for (; found != 0; found &= found - 1) {
            const qsizetype place = at + std::countr_zero(found);
            if (place >= to) {
                break;
            }
            if (data[place] == '\n') {
                return place;
            }
            take(data + place);
        }
    }
    return to;
}

}  // namespace lumbro
