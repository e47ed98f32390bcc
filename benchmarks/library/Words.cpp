#include "benchmarks/library/Words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace lumbro::bench {

namespace {

constexpr size_t vocabulary = 12'000;

/// A word of two letters for each syllable; every fortieth has an accent.
std::string invent(std::mt19937& random, int syllables) {
    static constexpr std::array consonants{"b",  "c",  "d",  "f",  "g",  "h",  "k",  "l",  "m",
                                           "n",  "p",  "r",  "s",  "t",  "v",  "w",  "st", "tr",
                                           "ch", "th", "pl", "br", "nd", "ng", "sh", "qu", "z"};
    static constexpr std::array vowels{"a", "e", "i", "o", "u", "e", "a", "i", "ea", "ou"};
    std::string word;
    for (int i = 0; i < syllables; ++i) {
        word += consonants[random() % consonants.size()];
        word += random() % 160 == 0 ? "é" : vowels[random() % vowels.size()];
    }
    return word + (random() % 3 == 0 ? "s" : "");
}

}  // namespace

Words::Words(unsigned seed) : m_random(seed) {
    // The most frequent ones are short, as in every language.
    m_words = {"the", "and", "to",  "of",  "a",  "we",   "in",  "that",
               "it",  "is",  "for", "you", "on", "with", "this"};
    while (m_words.size() < vocabulary) {
        const int syllables =
            m_words.size() < 150 ? 1 : 2 + int(m_random() % (m_words.size() < 2000 ? 2 : 3));
        m_words.push_back(invent(m_random, syllables));
    }
    constexpr size_t choices = 1U << 17U;
    double sum = 0;
    for (size_t rank = 0; rank < vocabulary; ++rank) {
        sum += 1.0 / (double(rank) + 2.7);
    }
    double reached = 0;
    for (size_t rank = 0; rank < vocabulary; ++rank) {
        reached += 1.0 / (double(rank) + 2.7) / sum;
        while (double(m_choice.size()) < reached * double(choices) && m_choice.size() < choices) {
            m_choice.push_back(quint16(rank));
        }
    }
}

const std::string& Words::word() {
    return m_words[m_choice[m_random() % m_choice.size()]];
}

void Words::sentence(std::string& out, int count) {
    const size_t begin = out.size();
    for (int i = 0; i < count; ++i) {
        out += word();
        out += ' ';
    }
    out.back() = '.';
    if (out[begin] >= 'a' && out[begin] <= 'z') {
        out[begin] = char(out[begin] - ('a' - 'A'));
    }
}

std::string Words::uuid() {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%08X-%04X-4%03X-8%03X-%04X%08X", unsigned(m_random()),
                  unsigned(m_random() & 0xFFFFU), unsigned(m_random() & 0xFFFU),
                  unsigned(m_random() & 0xFFFU), unsigned(m_random() & 0xFFFFU), unsigned(m_random()));
    return text.data();
}

}  // namespace lumbro::bench
