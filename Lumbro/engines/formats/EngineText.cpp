#include "engines/formats/EngineText.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "engines/formats/Frontmatter.h"

#include <algorithm>

namespace lumbro {

namespace {

struct Line {
    QString text;
    /// The newline character behind it; empty for the last one.
    QString end;
};

/// The lines as the reader sees them, with what stands between them.
QList<Line> linesOf(const QString& text) {
    QList<Line> lines;
    qsizetype at = 0;
    for (const QString& line : Frontmatter::lines(text)) {
        at += line.size();
        lines.append({line, text.mid(at, 1)});
        ++at;
    }
    return lines;
}

QString keyOf(const QString& line) {
    const qsizetype colon = line.indexOf(u':');
    return colon < 0 ? QString() : trimmedBlanks(QStringView(line).first(colon)).toString().toLower();
}

QString written(const QString& key, const QString& value) {
    QString line = key + u": "_s + Frontmatter::lines(value).join(u' ');
    return line;
}

/// Sets a key in the block's lines. The reader takes the last of equal keys, so no other may stay.
void set(QList<Line>& header, const EngineField& field) {
    const auto& [key, value] = field;
    qsizetype last = -1;
    for (qsizetype i = header.size() - 1; i >= 0; --i) {
        if (keyOf(header.at(i).text) != key) {
            continue;
        }
        if (last < 0 && value) {
            last = i;
            header[i].text = written(key, *value);
        } else {
            header.removeAt(i);
        }
    }
    if (last < 0 && value) {
        header.append({written(key, *value), u"\n"_s});
    }
}

QString closed(const QString& prompt) {
    return prompt.endsWith(u'\n') ? prompt : prompt + u'\n';
}

QString joined(const QList<Line>& lines) {
    QString text;
    for (const Line& line : lines) {
        text += line.text + line.end;
    }
    return text;
}

}  // namespace

QString engineText(const QString& text, const QList<EngineField>& fields,
                   const std::optional<QString>& prompt) {
    const qsizetype end = Frontmatter::closingFence(Frontmatter::lines(text));
    if (end < 0) {
        QList<Line> header;
        for (const EngineField& field : fields) {
            set(header, field);
        }
        return u"---\n"_s + joined(header) + u"---\n"_s + closed(prompt.value_or(text));
    }
    const QList<Line> all = linesOf(text);
    QList<Line> header = all.sliced(1, end - 1);
    for (const EngineField& field : fields) {
        set(header, field);
    }
    const QString top = joined(all.first(1)) + joined(header);
    const Line& fence = all.at(end);
    if (!prompt) {
        return top + joined(all.sliced(end));
    }
    return top + fence.text + (fence.end.isEmpty() ? u"\n"_s : fence.end) + closed(*prompt);
}

bool keepsInEngineText(const QString& value) {
    const QString line = Frontmatter::lines(value).join(u' ');
    const auto parsed = Frontmatter::parse(u"---\nkey: "_s + line + u"\n---\n"_s).value(u"key"_s);
    return parsed == value;
}

}  // namespace lumbro
