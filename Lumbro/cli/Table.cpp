#include "cli/Table.h"

#include <QLocale>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>
#include <iterator>

namespace lumbro::cli {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// What terminals show in two columns, in order.
constexpr std::array wideRanges{
    Range{0x1100, 0x115f},   Range{0x231a, 0x231b},   Range{0x2329, 0x232a},   Range{0x23e9, 0x23ec},
    Range{0x23f0, 0x23f0},   Range{0x23f3, 0x23f3},   Range{0x25fd, 0x25fe},   Range{0x2614, 0x2615},
    Range{0x2648, 0x2653},   Range{0x267f, 0x267f},   Range{0x2693, 0x2693},   Range{0x26a1, 0x26a1},
    Range{0x26aa, 0x26ab},   Range{0x26bd, 0x26be},   Range{0x26c4, 0x26c5},   Range{0x26ce, 0x26ce},
    Range{0x26d4, 0x26d4},   Range{0x26ea, 0x26ea},   Range{0x26f2, 0x26f3},   Range{0x26f5, 0x26f5},
    Range{0x26fa, 0x26fa},   Range{0x26fd, 0x26fd},   Range{0x2705, 0x2705},   Range{0x270a, 0x270b},
    Range{0x2728, 0x2728},   Range{0x274c, 0x274c},   Range{0x274e, 0x274e},   Range{0x2753, 0x2755},
    Range{0x2757, 0x2757},   Range{0x2795, 0x2797},   Range{0x27b0, 0x27b0},   Range{0x27bf, 0x27bf},
    Range{0x2b1b, 0x2b1c},   Range{0x2b50, 0x2b50},   Range{0x2b55, 0x2b55},   Range{0x2e80, 0x303e},
    Range{0x3041, 0xa4cf},   Range{0xa960, 0xa97c},   Range{0xac00, 0xd7a3},   Range{0xf900, 0xfaff},
    Range{0xfe10, 0xfe19},   Range{0xfe30, 0xfe6f},   Range{0xff01, 0xff60},   Range{0xffe0, 0xffe6},
    Range{0x16fe0, 0x18d08}, Range{0x1aff0, 0x1b2fb}, Range{0x1f004, 0x1f004}, Range{0x1f0cf, 0x1f0cf},
    Range{0x1f18e, 0x1f18e}, Range{0x1f191, 0x1f19a}, Range{0x1f200, 0x1f265}, Range{0x1f300, 0x1f64f},
    Range{0x1f680, 0x1f6c5}, Range{0x1f6cc, 0x1f6cc}, Range{0x1f6d0, 0x1f6d2}, Range{0x1f6d5, 0x1f6df},
    Range{0x1f6eb, 0x1f6ec}, Range{0x1f6f4, 0x1f6fc}, Range{0x1f7e0, 0x1f7f0}, Range{0x1f900, 0x1f9ff},
    Range{0x1fa70, 0x1faff}, Range{0x20000, 0x3fffd},
};
constexpr int wide = 2;
constexpr QStringView endOfLook = u"\x1b[0m";

bool isWide(char32_t c) {
    const auto* const behind = std::ranges::upper_bound(wideRanges, c, {}, &Range::first);
    return behind != wideRanges.begin() && c <= std::prev(behind)->last;
}

int columnsOf(char32_t c) {
    const auto category = QChar::category(c);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
        category == QChar::Other_Format) {
        return 0;
    }
    return isWide(c) ? wide : 1;
}

/// Of one character as a reader counts them, which takes one place or two however it is put together.
int columnsOf(QStringView character) {
    constexpr QChar asPicture(0xfe0f);
    if (character.contains(asPicture)) {
        return wide;
    }
    int columns = 0;
    for (const char32_t c : character.toUcs4()) {
        columns += columnsOf(c);
    }
    return std::min(columns, wide);
}

/// Nothing but single letters of one column each, as nearly all text is.
bool isNarrow(QStringView text) {
    constexpr char16_t softHyphen = 0xad;
    return std::ranges::all_of(text, [](QChar c) {
        return (c >= u' ' && c <= u'~') || (c > u'\u00a0' && c < u'\u0300' && c != softHyphen);
    });
}

// Calls `visit(piece, columns)` for each character and each whole colour code of the text.
template <typename Visit>
void forEachPiece(const QString& text, Visit visit) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (qsizetype i = 0; i < text.size();) {
        if (text.at(i) == u'\x1b') {
            const qsizetype end = text.indexOf(u'm', i);
            const qsizetype length = (end < 0 ? text.size() : end + 1) - i;
            visit(QStringView(text).sliced(i, length), 0);
            i += length;
            continue;
        }
        finder.setPosition(i);
        const qsizetype next = finder.toNextBoundary();
        const qsizetype end = next > i ? next : text.size();
        const QStringView piece = QStringView(text).sliced(i, end - i);
        visit(piece, columnsOf(piece));
        i = end;
    }
}

QList<int> columnWidths(const QList<Column>& columns, const QList<QStringList>& rows) {
    QList<int> widths;
    for (qsizetype c = 0; c < columns.size(); ++c) {
        int widest = 0;
        for (const QStringList& row : rows) {
            widest = std::max(widest, displayWidth(row.value(c)));
        }
        widths += widest == 0 ? 0 : std::max(widest, displayWidth(columns.at(c).header));
    }
    return widths;
}

/// Takes `excess` columns one by one from what is then the widest of those that `mayBeCut` names, but leaves
/// `least` to each. Gives what is left of the excess.
template <typename MayBeCut>
int narrowed(QList<int>& widths, int excess, int least, MayBeCut mayBeCut) {
    for (; excess > 0; --excess) {
        int most = least;
        qsizetype chosen = -1;
        for (qsizetype c = 0; c < widths.size(); ++c) {
            if (widths.at(c) > most && mayBeCut(c)) {
                most = widths.at(c);
                chosen = c;
            }
        }
        if (chosen < 0) {
            break;
        }
        --widths[chosen];
    }
    return excess;
}

void shrinkTo(int width, const QList<Column>& columns, QList<int>& widths) {
    constexpr int gap = 2;
    constexpr int leastText = 12;
    constexpr int leastOther = 4;
    qint64 total = -gap;
    for (const int w : widths) {
        total += w == 0 ? 0 : w + gap;
    }
    if (total <= width) {
        return;
    }
    const int excess = narrowed(widths, int(total - width), leastText,
                                [&columns](qsizetype c) { return columns.at(c).flexible; });
    narrowed(widths, excess, leastOther, [&columns](qsizetype c) { return !columns.at(c).toRight; });
}

/// UTF-16 units that so many columns may take: eight characters each, as many as any writing puts together,
/// but not the thousands of marks that a stranger's invitation may put on one letter.
qsizetype mostUnits(int columns) {
    constexpr qsizetype unitsPerColumn = 16;
    return unitsPerColumn * std::max(columns, 1);
}

QStringView clipped(QStringView piece, qsizetype units) {
    const bool splits = piece.size() > units && piece.at(units - 1).isHighSurrogate();
    return piece.first(std::min(piece.size(), units - (splits ? 1 : 0)));
}

}  // namespace

int displayWidth(const QString& text) {
    if (isNarrow(text)) {
        return int(text.size());
    }
    int width = 0;
    forEachPiece(text, [&width](QStringView, int columns) { width += columns; });
    return width;
}

QString fitted(const QString& text, int width) {
    const bool fits = displayWidth(text) <= width;
    if (fits && text.size() <= mostUnits(width)) {
        return text;
    }
    QString result;
    int used = 0;
    qsizetype unseen = 0;
    bool full = false;
    bool isColoured = false;
    forEachPiece(text, [&](QStringView piece, int columns) {
        const bool isCode = piece.startsWith(u'\x1b');
        const bool isEnd = piece == endOfLook;
        if (!fits && !isCode && !full && used + columns > width - 1) {
            full = true;
            result += u'…';
        }
        unseen += !isCode && columns == 0 ? piece.size() : 0;
        if (!isCode && columns == 0 && unseen > mostUnits(width)) {
            return;
        }
        if (!full || (isEnd && isColoured)) {
            result += isCode ? piece : clipped(piece, mostUnits(columns));
            used += columns;
            isColoured = isCode ? !isEnd : isColoured;
        }
    });
    return result;
}

QString padded(const QString& text, int width, bool toRight) {
    const QString blanks(std::max(0, width - displayWidth(text)), u' ');
    return toRight ? blanks + text : text + blanks;
}

QString table(const Output& output, const QList<Column>& columns, const QList<QStringList>& rows) {
    return table(output, columns, rows, output.width());
}

QString table(const Output& output, const QList<Column>& columns, const QList<QStringList>& rows, int width) {
    QList<int> widths = columnWidths(columns, rows);
    shrinkTo(width, columns, widths);
    qsizetype last = -1;
    for (qsizetype c = 0; c < columns.size(); ++c) {
        last = widths.at(c) > 0 ? c : last;
    }
    const auto line = [&](const auto& cell) {
        QString text;
        for (qsizetype c = 0; c <= last; ++c) {
            if (widths.at(c) > 0) {
                const bool isLast = c == last && !columns.at(c).toRight;
                const QString content = fitted(cell(c), widths.at(c));
                text += isLast ? content : padded(content, widths.at(c), columns.at(c).toRight);
                text += c == last ? u""_s : u"  "_s;
            }
        }
        while (text.endsWith(u' ')) {
            text.chop(1);
        }
        return text + u'\n';
    };
    QString result = line([&](qsizetype c) { return output.styled(columns.at(c).header, Look::dim); });
    for (const QStringList& row : rows) {
        result += line([&](qsizetype c) { return output.styled(row.value(c), columns.at(c).look); });
    }
    return result;
}

QString counted(qint64 count, const QString& one, const QString& many) {
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    return english.toString(count) + u' ' + (count == 1 ? one : many);
}

QString durationText(qint64 seconds) {
    if (seconds < 60) {
        return u"%1 s"_s.arg(std::max<qint64>(0, seconds));
    }
    const qint64 minutes = (seconds + 30) / 60;
    if (minutes < 60) {
        return u"%1 min"_s.arg(minutes);
    }
    return u"%1 h %2 min"_s.arg(minutes / 60).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QString bytesText(qint64 bytes) {
    if (bytes < 1000) {
        return counted(bytes, u"byte"_s, u"bytes"_s);
    }
    static constexpr std::array units{"kB", "MB", "GB", "TB"};
    double value = double(bytes) / 1000;
    size_t unit = 0;
    while (value >= 999.5 && unit + 1 < units.size()) {
        value /= 1000;
        ++unit;
    }
    return QString::number(value, 'f', value < 10 ? 1 : 0) + u' ' + QLatin1StringView(units.at(unit));
}

}  // namespace lumbro::cli
