#include "LumbroCore/Text.h"

#include "LumbroCore/Literals.h"

#include <QChar>
#include <QTextBoundaryFinder>

#include <algorithm>

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

QString comparable(const QString& name) {
    return name.normalized(QString::NormalizationForm_C).toLower();
}

QString slugified(const QString& text) {
    const QString lower = comparable(text);
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

/// No more than a letter with all its accents has.
static constexpr qsizetype unitsPerCharacter = 16;

QString firstCharacters(const QString& text, qsizetype count) {
    if (text.size() <= count) {
        return text;
    }
    // Below the combining marks a character is one unit; the unit after the cut may belong to the last one.
    constexpr char16_t firstMark = 0x300;
    const QStringView head = QStringView(text).left(count + 1);
    const bool isPlain =
        std::ranges::all_of(head, [](QChar c) { return c.unicode() < firstMark && c != u'\r'; });
    if (isPlain) {
        return text.left(count);
    }
    const QString window = text.left(count * unitsPerCharacter);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, window);
    qsizetype end = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0) {
            break;
        }
        end = next;
    }
    return window.left(end);
}

QString lastCharacters(const QString& text, qsizetype count) {
    if (text.size() <= count) {
        return text;
    }
    const QString window = text.right(count * unitsPerCharacter);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, window);
    finder.toEnd();
    qsizetype start = window.size();
    for (qsizetype i = 0; i < count && start > 0; ++i) {
        start = finder.toPreviousBoundary();
    }
    return window.sliced(std::max<qsizetype>(start, 0));
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
