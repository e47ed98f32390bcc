#include "memory/formats/MarkdownDoc.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <algorithm>

namespace lumbro {

namespace {

constexpr QStringView headingMark = u"## ";

QStringView withoutReturn(QStringView line) {
    if (line.endsWith(u'\r')) {
        line.chop(1);
    }
    return line;
}

QStringView trimmed(QStringView line) {
    return trimmedBlanks(withoutReturn(line));
}

bool isFence(QStringView line) {
    return trimmed(line) == u"---";
}

qsizetype depthOf(QStringView line) {
    return std::ranges::find_if_not(line, [](QChar c) { return c == u' ' || c == u'\t'; }) - line.begin();
}

/// Nothing but what opens a text below its key, such as "|" or ">-".
bool isBlockMark(QStringView value) {
    constexpr QStringView signs = u"+-0123456789";
    if (!value.startsWith(u'|') && !value.startsWith(u'>')) {
        return false;
    }
    const QStringView mark = trimmed(value.first(std::max<qsizetype>(value.indexOf(u" #"), 0)));
    return std::ranges::all_of((mark.isEmpty() ? value : mark).sliced(1),
                               [signs](QChar c) { return signs.contains(c); });
}

/// A quote that its line does not close.
bool isOpenQuote(QStringView value) {
    const QChar quote = value.isEmpty() ? QChar() : value.front();
    if (quote != u'"' && quote != u'\'') {
        return false;
    }
    for (qsizetype i = 1; i < value.size(); ++i) {
        const bool isDoubled = quote == u'\'' && value.sliced(i).startsWith(u"''");
        if ((quote == u'"' && value[i] == u'\\') || isDoubled) {
            ++i;
        } else if (value[i] == quote) {
            return false;
        }
    }
    return true;
}

/// A list or map in brackets that its line does not close.
bool isOpenBracket(QStringView value) {
    const bool isList = value.startsWith(u'[');
    return (isList || value.startsWith(u'{')) &&
           value.count(isList ? u'[' : u'{') > value.count(isList ? u']' : u'}');
}

}  // namespace

/// Reads the block of fields and gives the number of the first line below it.
qsizetype MarkdownDoc::readHead(const QStringList& lines) {
    if (!isFence(lines.first())) {
        return 0;
    }
    const auto end = std::find_if(lines.begin() + 1, lines.end(), isFence);
    if (end == lines.end()) {
        return 0;
    }
    m_opening = lines.first();
    m_closing = *end;
    for (auto line = lines.begin() + 1; line != end; ++line) {
        const qsizetype colon = line->indexOf(u':');
        HeadLine head{.field = {}, .isField = colon >= 0, .line = *line};
        if (colon >= 0) {
            head.field = {trimmed(QStringView(*line).first(colon)).toString(),
                          trimmed(QStringView(*line).sliced(colon + 1)).toString()};
        }
        m_head.append(head);
    }
    return end - lines.begin() + 1;
}

MarkdownDoc MarkdownDoc::parse(const QString& text) {
    MarkdownDoc page;
    QStringList lines = text.split(u'\n');
    // Blank lines above all are not written again.
    const auto first =
        std::ranges::find_if_not(lines, [](const QString& line) { return line.trimmed().isEmpty(); });
    page.m_hasReturns = lines.end() - first > 1 && first->endsWith(u'\r');
    if (page.m_hasReturns && !lines.last().endsWith(u'\r')) {
        // The last line may get others below it.
        lines.last() += u'\r';
    }
    for (qsizetype i = page.readHead(lines); i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (line.startsWith(headingMark)) {
            const QString title = trimmed(QStringView(line).sliced(headingMark.size())).toString();
            page.m_parts.append({{title, {}}, line});
        } else {
            QStringList& open = page.m_parts.isEmpty() ? page.m_preamble : page.m_parts.last().section.lines;
            open.append(line);
        }
    }
    return page;
}

QString MarkdownDoc::render() const {
    QStringList lines;
    if (!m_opening.isEmpty()) {
        lines.append(m_opening);
        for (const HeadLine& head : m_head) {
            lines.append(head.line);
        }
        lines.append(m_closing);
    }
    lines += m_preamble;
    for (const Part& part : m_parts) {
        if (!lines.isEmpty() && !withoutReturn(lines.last()).isEmpty()) {
            lines.append(own({}));
        }
        lines.append(part.heading);
        lines += part.section.lines;
    }
    return lines.join(u'\n').trimmed() + (m_hasReturns ? u"\r\n"_s : u"\n"_s);
}

QList<MarkdownDoc::Field> MarkdownDoc::fields() const {
    QList<Field> fields;
    for (const HeadLine& head : m_head) {
        if (head.isField) {
            fields.append(head.field);
        }
    }
    return fields;
}

void MarkdownDoc::setPreamble(const QStringList& lines) {
    m_preamble.clear();
    for (const QString& line : lines) {
        m_preamble.append(own(line));
    }
}

QList<MarkdownDoc::Section> MarkdownDoc::sections() const {
    QList<Section> sections;
    for (const Part& part : m_parts) {
        sections.append(part.section);
    }
    return sections;
}

QString MarkdownDoc::field(QStringView key) const {
    const auto head = std::ranges::find_if(
        m_head, [key](const HeadLine& line) { return line.isField && line.field.key == key; });
    return head == m_head.end() ? QString() : head->field.value;
}

/// Whether the value of the field at `index`, or more of it, stands in lines below its own.
bool MarkdownDoc::goesOnBelow(qsizetype index) const {
    const QString& value = m_head[index].field.value;
    const bool isOpen = isOpenQuote(value) || isOpenBracket(value);
    if (!value.isEmpty() && !isOpen && !isBlockMark(value)) {
        return false;
    }
    // In a text, what looks like a remark is a part of it.
    const bool hasRemarks = value.isEmpty() || isOpenBracket(value);
    const auto next = std::find_if(m_head.begin() + index + 1, m_head.end(), [hasRemarks](const auto& head) {
        const QStringView text = trimmed(head.line);
        return !text.isEmpty() && !(hasRemarks && text.startsWith(u'#'));
    });
    if (next == m_head.end()) {
        return false;
    }
    const QStringView text = trimmed(next->line);
    const qsizetype deeper = depthOf(next->line) - depthOf(m_head[index].line);
    const bool isItem = text == u"-" || text.startsWith(u"- ");
    return deeper > 0 || (isOpen && !next->isField) || (value.isEmpty() && deeper == 0 && isItem);
}

bool MarkdownDoc::setField(const QString& key, const QString& value, bool onlyIfEmpty) {
    QString line = value;
    line.replace(u"\r\n"_s, u" "_s).replace(u'\n', u' ').replace(u'\r', u' ');
    const QString kept = trimmedBlanks(line).toString();
    HeadLine fresh{.field = {key, kept}, .isField = true, .line = own(key + u": "_s + kept)};
    const auto head = std::ranges::find_if(
        m_head, [&key](const HeadLine& known) { return known.isField && known.field.key == key; });
    const bool isNew = head == m_head.end();
    // All fields of a block stand equally far in.
    const auto beside = isNew ? std::ranges::find(m_head, true, &HeadLine::isField) : head;
    if (beside != m_head.end()) {
        fresh.line.prepend(beside->line.first(depthOf(beside->line)));
    }
    if (isNew) {
        if (m_opening.isEmpty()) {
            m_opening = m_closing = own(u"---"_s);
        }
        m_head.append(fresh);
        return true;
    }
    const bool isFilled = !head->field.value.isEmpty();
    if (kept.isEmpty() || kept == head->field.value || (onlyIfEmpty && isFilled)) {
        return true;
    }
    if (goesOnBelow(head - m_head.begin())) {
        return onlyIfEmpty;
    }
    *head = fresh;
    return true;
}

const MarkdownDoc::Part* MarkdownDoc::part(QStringView title) const {
    const auto found = std::ranges::find_if(m_parts, [title](const Part& part) {
        return title.compare(part.section.title, Qt::CaseInsensitive) == 0;
    });
    return found == m_parts.end() ? nullptr : &*found;
}

std::optional<QStringList> MarkdownDoc::lines(QStringView title) const {
    const Part* found = part(title);
    if (found == nullptr) {
        return std::nullopt;
    }
    QStringList lines;
    for (const QString& line : found->section.lines) {
        lines.append(withoutReturn(line).toString());
    }
    return lines;
}

QStringList MarkdownDoc::bullets(QStringView title) const {
    QStringList bullets;
    if (const Part* found = part(title)) {
        for (const QString& line : found->section.lines) {
            const QStringView text = trimmed(line);
            if (text.startsWith(u"- ")) {
                bullets.append(text.sliced(2).toString());
            }
        }
    }
    return bullets;
}

void MarkdownDoc::appendBullet(const QString& text, const QString& title) {
    const Part* found = part(title);
    const qsizetype index = found == nullptr ? m_parts.size() : found - m_parts.constData();
    if (found == nullptr) {
        m_parts.append({{title, {}}, own(u"## "_s + title)});
    }
    QStringList& lines = m_parts[index].section.lines;
    while (!lines.isEmpty() && trimmed(lines.last()).isEmpty()) {
        lines.removeLast();
    }
    lines.append(own(u"- "_s + text));
    lines.append(own({}));
}

void MarkdownDoc::setHeading(const QString& name) {
    const auto heading =
        std::ranges::find_if(m_preamble, [](const QString& line) { return line.startsWith(u"# "); });
    if (heading != m_preamble.end()) {
        *heading = own(u"# "_s + name);
    }
}

}  // namespace lumbro
