#include "chats/formats/ChatText.h"

#include "LumbroCore/Literals.h"
#include "chats/formats/Redact.h"

#include <QRegularExpression>

#include <algorithm>

namespace lumbro::chatText {

namespace {

/// Replaces each block from `open` to the first `close` after it. Both are the beginning of a tag that ends
/// with the next ">".
void replaceBlocks(QString& text, QStringView open, QStringView close, QStringView replacement) {
    qsizetype begin = text.indexOf(open);
    if (begin < 0) {
        return;
    }
    QString result;
    qsizetype copied = 0;
    while (begin >= 0) {
        const qsizetype body = text.indexOf(u'>', begin);
        const qsizetype closing = body < 0 ? -1 : text.indexOf(close, body + 1);
        const qsizetype last = closing < 0 ? -1 : text.indexOf(u'>', closing + close.size() - 1);
        if (last < 0) {
            break;
        }
        result += QStringView(text).sliced(copied, begin - copied);
        result += replacement;
        copied = last + 1;
        begin = text.indexOf(open, copied);
    }
    result += QStringView(text).sliced(copied);
    text = result;
}

/// As nearly all ids are; no secret looks like it.
bool isUuid(QStringView text) {
    constexpr QStringView form = u"00000000-0000-0000-0000-000000000000";
    const auto fits = [](QChar c, QChar wanted) {
        const bool isDigit = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
        return wanted == u'-' ? c == u'-' : isDigit;
    };
    return text.size() == form.size() && std::ranges::equal(text, form, fits);
}

/// Characters that turn the direction of the text around them, or have no width and no meaning in a name.
bool turnsOrHides(QChar c) {
    const char16_t u = c.unicode();
    return u == 0x061c || u == 0x200b || u == 0x200e || u == 0x200f || (u >= 0x202a && u <= 0x202e) ||
           (u >= 0x2060 && u <= 0x2069) || u == 0xfeff;
}

}  // namespace

QString tidy(QString text) {
    if (text.contains(u'<')) {
        replaceBlocks(text, u"<pasted_content", u"</pasted_content", u"[pasted text]");
        replaceBlocks(text, u"<system-reminder>", u"</system-reminder>", u"");
    }
    return Redact::secrets(text).trimmed();
}

QString tidyName(QString name) {
    if (isUuid(name)) {
        return name;
    }
    name.removeIf(turnsOrHides);
    for (QChar& c : name) {
        if (c < u' ' || c == QChar(0x7f) || c == QChar::LineSeparator || c == QChar::ParagraphSeparator ||
            c == QChar(0x85)) {
            c = u' ';
        }
    }
    // Folders are called "task-…" and "desk-…" as a matter of course: a key must not begin in a word here.
    static const QRegularExpression inWord(u"(?<=[A-Za-z])s(?=k-)"_s);
    const QChar mark(0x1);
    if (name.contains(u"sk-"_s)) {
        name.replace(inWord, u's' + QString(mark));
    }
    return Redact::secrets(name).remove(mark);
}

std::optional<QString> between(QStringView text, QStringView open, QStringView close) {
    const qsizetype begin = text.indexOf(open);
    const qsizetype body = begin + open.size();
    const qsizetype end = begin < 0 ? -1 : text.indexOf(close, body);
    if (end < 0) {
        return std::nullopt;
    }
    return text.sliced(body, end - body).trimmed().toString();
}

}  // namespace lumbro::chatText
