#include "LumbroCore/Text.h"

#include "LumbroCore/Literals.h"

#include <QChar>

namespace lumbro {

namespace {

/// The Unicode scalar at `index`, which moves behind it. A lone surrogate counts as itself.
char32_t nextScalar(QStringView text, qsizetype& index) {
    const QChar first = text[index++];
    if (first.isHighSurrogate() && index < text.size() && text[index].isLowSurrogate()) {
        return QChar::surrogateToUcs4(first, text[index++]);
    }
    return first.unicode();
}

}  // namespace

QString slugified(const QString& text) {
    const QString lower = text.toLower();
    QString slug;
    slug.reserve(lower.size());
    bool gap = false;
    for (qsizetype i = 0; i < lower.size();) {
        const char32_t scalar = nextScalar(lower, i);
        if (!QChar::isLetterOrNumber(scalar) && !QChar::isMark(scalar)) {
            gap = true;
            continue;
        }
        if (gap && !slug.isEmpty()) {
            slug += u'-';
        }
        gap = false;
        slug += QChar::fromUcs4(scalar);
    }
    return slug;
}

int wordCount(QStringView text) {
    int words = 0;
    bool inWord = false;
    for (qsizetype i = 0; i < text.size();) {
        const char32_t scalar = nextScalar(text, i);
        if (QChar::isSpace(scalar)) {
            inWord = false;
        } else if (!inWord && QChar::isLetterOrNumber(scalar)) {
            inWord = true;
            ++words;
        }
    }
    return words;
}

QStringView trimmedOf(QStringView text, QStringView set) {
    while (!text.isEmpty() && set.contains(text.front())) {
        text = text.sliced(1);
    }
    while (!text.isEmpty() && set.contains(text.back())) {
        text.chop(1);
    }
    return text;
}

QStringView trimmedBlanks(QStringView text) {
    return trimmedOf(text, u" \t");
}

}  // namespace lumbro
