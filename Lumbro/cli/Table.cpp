#include "cli/Table.h"

#include <QLocale>

#include <algorithm>
#include <array>

namespace lumbro::cli {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

// The blocks that terminals show in two columns.
constexpr std::array wideRanges{
    Range{0x1100, 0x115f},   Range{0x2e80, 0x303e},   Range{0x3041, 0x33ff}, Range{0x3400, 0x4dbf},
    Range{0x4e00, 0x9fff},   Range{0xa000, 0xa4cf},   Range{0xac00, 0xd7a3}, Range{0xf900, 0xfaff},
    Range{0xfe30, 0xfe6f},   Range{0xff00, 0xff60},   Range{0xffe0, 0xffe6}, Range{0x1f300, 0x1f64f},
    Range{0x1f900, 0x1f9ff}, Range{0x20000, 0x3fffd},
};

int columnsOf(char32_t c) {
    const auto category = QChar::category(c);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
        category == QChar::Other_Format) {
        return 0;
    }
    const bool wide =
        std::ranges::any_of(wideRanges, [c](const Range& r) { return c >= r.first && c <= r.last; });
    return wide ? 2 : 1;
}

// Calls `visit(piece, columns)` for each character and each whole colour code of the text.
template <typename Visit>
void forEachPiece(const QString& text, Visit visit) {
    for (qsizetype i = 0; i < text.size();) {
        qsizetype length = 1;
        int columns = 1;
        if (text.at(i) == u'\x1b') {
            const qsizetype end = text.indexOf(u'm', i);
            length = (end < 0 ? text.size() : end + 1) - i;
            columns = 0;
        } else if (text.at(i).isHighSurrogate() && i + 1 < text.size()) {
            length = 2;
            columns = columnsOf(QChar::surrogateToUcs4(text.at(i), text.at(i + 1)));
        } else {
            columns = columnsOf(text.at(i).unicode());
        }
        visit(QStringView(text).sliced(i, length), columns);
        i += length;
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

void shrinkTo(int width, const QList<Column>& columns, QList<int>& widths) {
    constexpr int gap = 2;
    constexpr int least = 12;
    int total = -gap;
    for (const int w : widths) {
        total += w == 0 ? 0 : w + gap;
    }
    for (qsizetype c = 0; c < columns.size() && total > width; ++c) {
        if (columns.at(c).flexible && widths.at(c) > least) {
            const int cut = std::min(total - width, widths.at(c) - least);
            widths[c] -= cut;
            total -= cut;
        }
    }
}

}  // namespace

int displayWidth(const QString& text) {
    if (isPlain(text)) {
        return int(text.size());
    }
    int width = 0;
    forEachPiece(text, [&width](QStringView, int columns) { width += columns; });
    return width;
}

QString fitted(const QString& text, int width) {
    if (displayWidth(text) <= width) {
        return text;
    }
    QString result;
    int used = 0;
    bool full = false;
    forEachPiece(text, [&](QStringView piece, int columns) {
        const bool isCode = piece.startsWith(u'\x1b');
        if (!isCode && !full && used + columns > width - 1) {
            full = true;
            result += u'…';
        }
        if (isCode || !full) {
            result += piece;
            used += columns;
        }
    });
    return result;
}

QString padded(const QString& text, int width, bool toRight) {
    const QString blanks(std::max(0, width - displayWidth(text)), u' ');
    return toRight ? blanks + text : text + blanks;
}

QString table(const Output& output, const QList<Column>& columns, const QList<QStringList>& rows) {
    QList<int> widths = columnWidths(columns, rows);
    shrinkTo(output.width(), columns, widths);
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
