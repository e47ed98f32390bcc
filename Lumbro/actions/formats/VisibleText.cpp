#include "actions/formats/VisibleText.h"

#include <algorithm>
#include <array>
#include <string>

namespace lumbro {

namespace {

bool isJoiner(char32_t c) {
    return c == 0x200C || c == 0x200D;
}

/// Formatting that belongs to the character beside it: joiners, the letters of flags, signs around Arabic
/// numbers.
bool isPartOfSign(char32_t c) {
    return isJoiner(c) || (c >= 0xE0020 && c <= 0xE007F) || (c >= 0x0600 && c <= 0x0605) || c == 0x06DD ||
           c == 0x070F || c == 0x08E2;
}

/// Letters and symbols by their kind, of which nothing is drawn.
bool isFiller(char32_t c) {
    static constexpr std::array<char32_t, 5> fillers{0x115F, 0x1160, 0x2800, 0x3164, 0xFFA0};
    return std::ranges::find(fillers, c) != fillers.end();
}

bool isBlank(char32_t c) {
    return QChar::isSpace(c) || isFiller(c);
}

bool isDropped(char32_t c) {
    const QChar::Category kind = QChar::category(c);
    return kind == QChar::Other_Control || (kind == QChar::Other_Format && !isPartOfSign(c));
}

bool canBeSeen(char32_t c) {
    const QChar::Category kind = QChar::category(c);
    return !isBlank(c) && !isDropped(c) && !isPartOfSign(c) && !QChar::isMark(c) &&
           kind != QChar::Other_NotAssigned;
}

}  // namespace

QString visibleText(const QString& text) {
    std::u32string kept;
    for (const char32_t c : text.toStdU32String()) {
        if (QChar::isSpace(c)) {
            kept += U' ';
        } else if (!isDropped(c)) {
            kept += c;
        }
    }
    if (std::ranges::none_of(kept, canBeSeen)) {
        return {};
    }
    const auto isEdge = [](char32_t c) { return isBlank(c) || isJoiner(c); };
    const auto first = std::ranges::find_if_not(kept, isEdge);
    const auto last = std::find_if_not(kept.rbegin(), kept.rend(), isEdge).base();
    return QString::fromStdU32String(std::u32string(first, last));
}

}  // namespace lumbro
