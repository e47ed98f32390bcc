#include "ask/Highlight.h"

#include "LumbroCore/Literals.h"
#include "memory/formats/WikiLink.h"

#include <QVarLengthArray>

#include <algorithm>
#include <cmath>

namespace lumbro::highlight {

namespace {

constexpr qsizetype wholeUpTo = 150;
constexpr qsizetype pieceLength = 140;
constexpr qsizetype before = 50;

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// The byte that is `count` characters behind `from`, or the end.
qsizetype forward(QByteArrayView text, qsizetype from, qsizetype count) {
    for (; from < text.size(); ++from) {
        if (!continues(text[from]) && count-- == 0) {
            break;
        }
    }
    return from;
}

/// The byte that is `count` characters before `from`, or the beginning.
qsizetype backward(QByteArrayView text, qsizetype from, qsizetype count) {
    for (; count > 0 && from > 0; --count) {
        do {
            --from;
        } while (from > 0 && continues(text[from]));
    }
    return from;
}

bool isAscii(QByteArrayView text) {
    unsigned char all = 0;
    for (const char byte : text) {
        all |= static_cast<unsigned char>(byte);
    }
    return all < 0x80;
}

/// The text on one line, with "…" where something was left out.
QString shown(QByteArrayView text, bool isCutBefore, bool isCutAfter) {
    constexpr QChar ellipsis = u'…';
    // No allocation but that of the result, and no decoder where none is needed: a search may show thousands.
    if (isAscii(text)) {
        QString all(text.size() + (isCutBefore ? 1 : 0) + (isCutAfter ? 1 : 0), Qt::Uninitialized);
        QChar* out = all.data();
        if (isCutBefore) {
            *out++ = ellipsis;
        }
        for (const char byte : text) {
            *out++ = QLatin1Char(byte == '\n' ? ' ' : byte);
        }
        if (isCutAfter) {
            *out = ellipsis;
        }
        return all;
    }
    QString all = QString::fromUtf8(text).replace(u'\n', u' ');
    if (isCutBefore) {
        all.prepend(ellipsis);
    }
    return isCutAfter ? all + ellipsis : all;
}

/// The UTF-16 unit of `text` from which unit `place` of its lower case was made.
qsizetype originOf(const QString& text, qsizetype place) {
    qsizetype lower = 0;
    for (qsizetype i = 0; i < text.size();) {
        const bool isPair = text[i].isHighSurrogate() && i + 1 < text.size();
        const QString one = text.mid(i, isPair ? 2 : 1);
        lower += one.toLower().size();
        if (lower > place) {
            return i;
        }
        i += one.size();
    }
    return text.size();
}

/// The unit at which the earliest term begins, or -1.
qsizetype earliest(const QString& text, const QStringList& terms) {
    const QString lower = text.toLower();
    qsizetype first = -1;
    for (const QString& term : terms) {
        const qsizetype place = lower.indexOf(term);
        first = place >= 0 && (first < 0 || place < first) ? place : first;
    }
    return first < 0 || lower.size() == text.size() ? first : originOf(text, first);
}

}  // namespace

QStringList terms(const QString& query) {
    QStringList terms;
    const QString lower = query.normalized(QString::NormalizationForm_C).toLower();
    for (qsizetype i = 0; i < lower.size();) {
        if (lower[i].isSpace()) {
            ++i;
            continue;
        }
        const auto end = std::find_if(lower.begin() + i, lower.end(), [](QChar c) { return c.isSpace(); });
        terms += lower.sliced(i, end - lower.begin() - i);
        i = end - lower.begin();
    }
    return terms;
}

QString snippet(const QString& text, const QStringList& terms) {
    const QString plain = WikiLink::plain(text).normalized(QString::NormalizationForm_C);
    const qsizetype place = earliest(plain, terms);
    return piece(plain.toUtf8(), place < 0 ? -1 : QStringView(plain).first(place).toUtf8().size());
}

QString piece(QByteArrayView text, qsizetype place) {
    const bool isShort = text.size() <= 4 * wholeUpTo;
    if (isShort && forward(text, 0, wholeUpTo) == text.size()) {
        return shown(text, false, false);
    }
    const qsizetype begin = backward(text, std::max(place, qsizetype(0)), before);
    const qsizetype end = forward(text, begin, pieceLength);
    return shown(text.sliced(begin, end - begin), begin > 0, end < text.size());
}

QString asciiPiece(QByteArrayView text, qsizetype place) {
    if (text.size() <= wholeUpTo) {
        return shown(text, false, false);
    }
    const qsizetype begin = std::max(place - before, qsizetype(0));
    const qsizetype end = std::min(begin + pieceLength, text.size());
    return shown(text.sliced(begin, end - begin), begin > 0, end < text.size());
}

QString speechLabel(Speaker speaker, double seconds) {
    // A broken file may hold any number; what no recording reaches is cut.
    constexpr double limit = 3'600'000.0;
    const auto whole = int(std::floor(std::clamp(seconds, 0.0, limit)));
    // Digit by digit: a search may show thousands.
    QVarLengthArray<QChar, 16> digits;
    for (int rest = whole / 60; rest > 0 || digits.size() < 2; rest /= 10) {
        digits.prepend(QChar(u'0' + rest % 10));
    }
    digits << u':' << QChar(u'0' + whole % 60 / 10) << QChar(u'0' + whole % 60 % 10);
    QString label = speaker == Speaker::me ? u"Me · "_s : u"Them · "_s;
    label += QStringView(digits);
    return label;
}

std::vector<std::pair<qsizetype, qsizetype>> matches(const QString& text, const QStringList& terms) {
    const QString lower = text.toLower();
    std::vector<std::pair<qsizetype, qsizetype>> places;
    for (const QString& term : terms) {
        for (qsizetype at = lower.indexOf(term); at >= 0; at = lower.indexOf(term, at + 1)) {
            const bool isSame = lower.size() == text.size();
            const qsizetype begin = isSame ? at : originOf(text, at);
            const qsizetype end = isSame ? at + term.size() : originOf(text, at + term.size());
            places.emplace_back(begin, end - begin);
        }
    }
    std::ranges::sort(places);
    std::vector<std::pair<qsizetype, qsizetype>> joined;
    for (const auto& [begin, length] : places) {
        if (!joined.empty() && begin <= joined.back().first + joined.back().second) {
            auto& [first, all] = joined.back();
            all = std::max(all, begin + length - first);
        } else {
            joined.emplace_back(begin, length);
        }
    }
    return joined;
}

}  // namespace lumbro::highlight
