#include "engines/formats/Frontmatter.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

namespace lumbro {

namespace {

bool isNewline(QChar c) {
    return (c >= u'\n' && c <= u'\r') || c == QChar(0x85) || c == QChar(0x2028) || c == QChar(0x2029);
}

bool isFence(const QString& line) {
    return trimmedBlanks(line) == u"---";
}

QString readValue(QStringView raw) {
    QStringView value = trimmedBlanks(raw);
    if (const qsizetype comment = value.indexOf(u" #"); comment >= 0) {
        value = trimmedBlanks(value.first(comment));
    }
    return trimmedOf(value, u"\"'").toString();
}

}  // namespace

std::optional<QString> Frontmatter::Parsed::value(const QString& key) const {
    const auto it = fields.find(key);
    return it == fields.end() ? std::nullopt : std::optional(*it);
}

QStringList Frontmatter::lines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isNewline(text[i])) {
            lines.append(text.sliced(start, i - start));
            start = i + 1;
        }
    }
    lines.append(text.sliced(start));
    return lines;
}

qsizetype Frontmatter::closingFence(const QStringList& lines) {
    if (lines.isEmpty() || !isFence(lines.first())) {
        return -1;
    }
    for (qsizetype i = 1; i < lines.size(); ++i) {
        if (isFence(lines[i])) {
            return i;
        }
    }
    return -1;
}

Frontmatter::Parsed Frontmatter::parse(const QString& text) {
    const QStringList all = lines(text);
    const qsizetype end = closingFence(all);
    if (end < 0) {
        return {{}, text, false};
    }
    Parsed parsed;
    parsed.found = true;
    for (qsizetype i = 1; i < end; ++i) {
        const QStringView line(all[i]);
        if (const qsizetype colon = line.indexOf(u':'); colon >= 0) {
            const QString key = trimmedBlanks(line.first(colon)).toString().toLower();
            parsed.fields[key] = readValue(line.sliced(colon + 1));
        }
    }
    parsed.body = all.sliced(end + 1).join(u'\n');
    return parsed;
}

QStringList Frontmatter::list(const std::optional<QString>& value) {
    QStringList items;
    if (!value) {
        return items;
    }
    for (const QStringView piece : trimmedOf(*value, u"[] ").split(u',')) {
        if (const QStringView item = trimmedOf(piece, u" \"'"); !item.isEmpty()) {
            items.append(item.toString());
        }
    }
    return items;
}

}  // namespace lumbro
