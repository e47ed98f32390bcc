#include "memory/formats/MemoryText.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QUuid>

#include <algorithm>

namespace lumbro::memoryText {

namespace {

/// With ".md", a number behind a "-" and the ending of a file under way, a name stays below 255 bytes.
constexpr qsizetype mostSlugBytes = 200;

bool becomesBlank(QChar c) {
    return c == u'\t' || c == u'\n' || c == u'\v' || c == u'\f' || c == u'\r' || c == QChar(0x85) ||
           c == QChar::LineSeparator || c == QChar::ParagraphSeparator;
}

/// Characters that turn the direction of the text around them, or cannot be seen.
bool turnsOrHides(QChar c) {
    const char16_t u = c.unicode();
    return u == 0x061C || u == 0x200B || u == 0x200E || u == 0x200F || (u >= 0x202A && u <= 0x202E) ||
           (u >= 0x2060 && u <= 0x2069) || u == 0xFEFF;
}

bool isLoneSurrogate(QStringView text, qsizetype at) {
    if (text[at].isHighSurrogate()) {
        return at + 1 >= text.size() || !text[at + 1].isLowSurrogate();
    }
    return text[at].isLowSurrogate() && (at == 0 || !text[at - 1].isHighSurrogate());
}

bool isKept(QStringView text, qsizetype at) {
    return text[at].category() != QChar::Other_Control && !turnsOrHides(text[at]) &&
           !isLoneSurrogate(text, at);
}

bool isAnchorCharacter(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'-';
}

}  // namespace

QString oneLine(const QString& text, qsizetype most) {
    QString line;
    for (qsizetype i = 0; i < text.size() && line.size() < most; ++i) {
        const QChar c = text[i];
        if (becomesBlank(c)) {
            // A line end of two characters is one blank.
            if (c != u'\n' || i == 0 || text[i - 1] != u'\r') {
                line += u' ';
            }
        } else if (isKept(text, i)) {
            line += c;
        }
    }
    if (!line.isEmpty() && line.back().isHighSurrogate()) {
        line.chop(1);
    }
    return trimmedBlanks(line).toString();
}

bool losesCharacters(const QString& text, qsizetype most) {
    const QStringView whole = trimmedBlanks(text);
    for (qsizetype i = 0; i < whole.size(); ++i) {
        if (!becomesBlank(whole[i]) && !isKept(whole, i)) {
            return true;
        }
    }
    return whole.size() > most;
}

QString fileSlug(const QString& name) {
    QString slug = slugified(name.normalized(QString::NormalizationForm_C).left(mostSlugBytes));
    while (slug.toUtf8().size() > mostSlugBytes) {
        slug.chop(slug.back().isLowSurrogate() && slug.size() > 1 ? 2 : 1);
    }
    while (slug.endsWith(u'-')) {
        slug.chop(1);
    }
    return slug;
}

QString anchor(QStringView prefix) {
    return prefix.toString() + QUuid::createUuid().toString(QUuid::Id128).first(6);
}

QString lineId(QStringView prefix, QStringView line) {
    // FNV-1a: Qt's own hash is another one in every run.
    quint32 hash = 2166136261U;
    for (const char byte : line.toUtf8()) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
    }
    return prefix.toString() + QString::number(hash);
}

QStringView withoutAnchor(QStringView line, QString& id) {
    qsizetype begin = line.size();
    while (begin > 0 && isAnchorCharacter(line[begin - 1])) {
        --begin;
    }
    if (begin == line.size() || begin < 2 || line[begin - 1] != u'^' || !line[begin - 2].isSpace()) {
        return line;
    }
    id = line.sliced(begin).toString();
    return line.first(begin - 2);
}

QStringView trimmedLine(QStringView line) {
    return trimmedOf(line, u" \t\r");
}

}  // namespace lumbro::memoryText
