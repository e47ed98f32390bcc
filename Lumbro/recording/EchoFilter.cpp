#include "recording/EchoFilter.h"

#include <QSet>

#include <algorithm>
#include <cmath>
#include <ranges>

namespace lumbro::echoFilter {

namespace {

constexpr qsizetype fewestWords = 3;
constexpr double oldest = 20.0;
constexpr double nearest = 8.0;
constexpr double sharedPart = 0.6;

using Words = QSet<QString>;

Words wordsOf(const QString& text) {
    Words words;
    QString word;
    const QString composed = text.toLower().normalized(QString::NormalizationForm_C);
    for (const char32_t character : composed.toUcs4()) {
        // The vowel signs and accents of a letter belong to it.
        if (QChar::isLetter(character) || (QChar::isMark(character) && !word.isEmpty())) {
            word += QChar::fromUcs4(character);
        } else if (!word.isEmpty()) {
            words.insert(std::exchange(word, {}));
        }
    }
    if (!word.isEmpty()) {
        words.insert(word);
    }
    return words;
}

bool mostAreIn(const Words& words, const Words& others) {
    const auto shared =
        std::ranges::count_if(words, [&](const QString& word) { return others.contains(word); });
    return static_cast<double>(shared) / static_cast<double>(words.size()) > sharedPart;
}

}  // namespace

bool isEcho(const TranscriptSegment& segment, const TranscriptSegments& heard) {
    const Words words = wordsOf(segment.text);
    if (words.size() < fewestWords) {
        return false;
    }
    for (const TranscriptSegment& other : std::views::reverse(heard)) {
        if (other.speaker != Speaker::them) {
            continue;
        }
        if (segment.start - other.start > oldest) {
            return false;
        }
        if (std::abs(segment.start - other.start) < nearest && mostAreIn(words, wordsOf(other.text))) {
            return true;
        }
    }
    return false;
}

}  // namespace lumbro::echoFilter
