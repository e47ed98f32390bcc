#include "ask/formats/AskThreadFile.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "ask/formats/AskReply.h"
#include "engines/formats/Frontmatter.h"

#include <QFileInfo>
#include <QTimeZone>

#include <algorithm>

namespace lumbro::askThreadFile {

namespace {

const QDateTime& distantPast() {
    static const QDateTime date(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
    return date;
}

/// A line that begins a turn or its answer.
bool beginsSection(const QString& line) {
    return line.startsWith(u"### Me") || line.startsWith(u"### Lumbro") || line.startsWith(u"### Quillet");
}

/// A line that is no part of an answer's text.
bool endsAnswer(const QString& line) {
    return beginsSection(line) || AskReply::isSourcesLine(line) || AskReply::actionIn(line);
}

using IsMark = bool (*)(const QString& line);

/// A mark as far as it goes without the backslashes before it.
bool hidesMark(const QString& line, IsMark isMark) {
    const auto text = std::ranges::find_if(line, [](QChar c) { return c != u'\\'; });
    return isMark(line.sliced(text - line.begin()));
}

/// What was said, so that none of its lines is taken for a mark: those that could be get one backslash more.
QString escaped(const QString& text, IsMark isMark) {
    QStringList lines = text.split(u'\n');
    for (QString& line : lines) {
        if (hidesMark(line, isMark)) {
            line.prepend(u'\\');
        }
    }
    return lines.join(u'\n');
}

QString unescaped(const QString& line, IsMark isMark) {
    return line.startsWith(u'\\') && hidesMark(line, isMark) ? line.sliced(1) : line;
}

/// Walks the body line by line and gathers its turns.
class TurnReader {
  public:
    explicit TurnReader(const AskLookup& lookup) : m_lookup(lookup) { m_turn.date = distantPast(); }

    void take(const QString& line) {
        if (line.startsWith(u"### Me")) {
            close();
            readHeader(line);
            m_section = Section::question;
        } else if (beginsSection(line)) {
            m_section = Section::answer;
        } else if (m_section == Section::question) {
            m_question.append(unescaped(line, beginsSection));
        } else if (m_section == Section::answer) {
            takeAnswer(line);
        } else if (!m_heading.isEmpty()) {
            m_heading.append(unescaped(line, beginsSection));
        } else if (line.startsWith(u"# ")) {
            m_heading.append(line.sliced(2));
        }
    }

    /// The first heading above the turns, and the lines that follow it there.
    const QStringList& heading() const { return m_heading; }

    QList<AskTurn> finish() {
        close();
        return m_turns;
    }

  private:
    enum class Section { none, question, answer };

    void readHeader(const QString& line) {
        QStringList parts = line.split(u"· "_s);
        m_turn.date = dates::fromIso(trimmedBlanks(parts.takeLast())).value_or(m_turn.date);
        for (const QString& part : parts) {
            const QStringView word = trimmedBlanks(part);
            if (word.size() > 1 && word.startsWith(u'/')) {
                m_turn.engine = word.sliced(1).toString();
                return;
            }
        }
    }

    void takeAnswer(const QString& line) {
        if (AskReply::isSourcesLine(line)) {
            m_turn.rawSources = AskReply::tokens(line);
        } else if (const auto action = AskReply::actionIn(line)) {
            m_turn.action = action;
        } else {
            m_answer.append(unescaped(line, endsAnswer));
        }
    }

    void close() {
        if (m_section == Section::answer) {
            m_turn.question = m_question.join(u'\n').trimmed();
            m_turn.answer = m_answer.join(u'\n').trimmed();
            m_turn.sources = AskReply::resolve(m_turn.rawSources, m_lookup);
            m_turns.append(m_turn);
        }
        m_question.clear();
        m_answer.clear();
        const QDateTime date = m_turn.date;
        m_turn = {};
        m_turn.date = date;
    }

    const AskLookup& m_lookup;
    Section m_section = Section::none;
    QStringList m_heading;
    QStringList m_question;
    QStringList m_answer;
    AskTurn m_turn;
    QList<AskTurn> m_turns;
};

QString turnText(const AskTurn& turn) {
    QStringList lines;
    const QString engine = turn.engine ? u"/%1 · "_s.arg(*turn.engine) : QString();
    lines << u"### Me · "_s + engine + dates::iso(turn.date) << escaped(turn.question, beginsSection)
          << QString() << u"### Lumbro"_s << escaped(turn.answer, endsAnswer);
    if (turn.action) {
        lines << u"ACTION: "_s + *turn.action;
    }
    if (!turn.rawSources.isEmpty()) {
        lines << u"SOURCES: "_s + turn.rawSources.join(u", "_s);
    }
    return lines.join(u'\n') + u'\n';
}

/// What stands behind the block at the top, unchanged.
QString bodyOf(const QString& text) {
    const QStringList lines = Frontmatter::lines(text);
    qsizetype begin = 0;
    for (qsizetype i = Frontmatter::closingFence(lines); i >= 0; --i) {
        begin += lines.at(i).size() + 1;
    }
    return text.mid(begin);
}

/// What stands behind "title:" in the block at the top, as it stands there.
QString rawTitle(const QString& text) {
    const QStringList lines = Frontmatter::lines(text);
    for (qsizetype i = Frontmatter::closingFence(lines) - 1; i > 0; --i) {
        const QStringView line(lines.at(i));
        const qsizetype colon = line.indexOf(u':');
        if (colon >= 0 && trimmedBlanks(line.first(colon)).compare(u"title", Qt::CaseInsensitive) == 0) {
            return trimmedBlanks(line.sliced(colon + 1)).toString();
        }
    }
    return {};
}

/// The block at the top takes quotes and what stands behind " #" out of its values, which a question may
/// hold. Where the lines below it are the same the file is as we wrote it, and what stands there is the title
/// as a whole; people may have changed either.
QString titleOf(const QString& text, const QString& value, const QStringList& heading) {
    const QString raw = rawTitle(text);
    if (raw.simplified() == heading.join(u' ').simplified()) {
        return raw;
    }
    const QString first = heading.value(0);
    const auto block = Frontmatter::parse(u"---\ntitle: %1\n---"_s.arg(first));
    return block.value(u"title"_s) == value ? first : value;
}

/// Where the first line that is a fence begins, from the line at `begin` on; -1 when there is none.
qsizetype fenceFrom(const QByteArray& bytes, qsizetype begin) {
    while (begin < bytes.size()) {
        const qsizetype end = bytes.indexOf('\n', begin);
        const qsizetype size = (end < 0 ? bytes.size() : end) - begin;
        if (bytes.sliced(begin, size).trimmed() == "---") {
            return begin;
        }
        begin += size + 1;
    }
    return -1;
}

/// Puts the scope's line at the end of the block at the top, or makes that block.
void insertScope(QByteArray& bytes, const AskScope& scope, const QByteArray& lineEnd) {
    const QByteArray line = "scope: " + scope.token().toUtf8() + lineEnd;
    const qsizetype top = bytes.startsWith("\xef\xbb\xbf") ? 3 : 0;
    const qsizetype firstEnd = bytes.indexOf('\n', top);
    const bool hasBlock = fenceFrom(bytes, top) == top && firstEnd >= 0;
    const qsizetype fence = hasBlock ? fenceFrom(bytes, firstEnd + 1) : -1;
    if (fence >= 0) {
        bytes.insert(fence, line);
    } else {
        bytes.insert(top, "---" + lineEnd + line + "---" + lineEnd + lineEnd);
    }
}

}  // namespace

AskThread read(const QString& text, const QString& path, const AskLookup& lookup) {
    const qsizetype mark = text.startsWith(QChar::ByteOrderMark) ? 1 : 0;
    const QString plain = text.sliced(mark).remove(u'\r');
    const auto parsed = Frontmatter::parse(plain);
    TurnReader reader(lookup);
    for (const QString& line : bodyOf(plain).split(u'\n')) {
        reader.take(line);
    }
    AskThread thread;
    thread.id = QFileInfo(path).completeBaseName();
    thread.path = path;
    thread.turns = reader.finish();
    const bool hasTurns = !thread.turns.isEmpty();
    const auto title = parsed.value(u"title"_s);
    thread.title = title      ? titleOf(plain, *title, reader.heading())
                   : hasTurns ? thread.turns.first().question
                              : u"Untitled"_s;
    thread.created = dates::fromIso(parsed.value(u"created"_s).value_or(QString()))
                         .value_or(hasTurns ? thread.turns.first().date : distantPast());
    thread.scope = AskScope::fromToken(parsed.value(u"scope"_s).value_or(QString()));
    return thread;
}

QByteArray appended(const QByteArray& bytes, const std::optional<AskScope>& scope,
                    const QList<AskTurn>& turns) {
    const qsizetype firstEnd = bytes.indexOf('\n');
    const QByteArray lineEnd = firstEnd > 0 && bytes[firstEnd - 1] == '\r' ? "\r\n" : "\n";
    QByteArray result = bytes;
    const QString text = QString::fromUtf8(bytes).remove(QChar::ByteOrderMark).remove(u'\r');
    if (scope && !Frontmatter::parse(text).value(u"scope"_s)) {
        insertScope(result, *scope, lineEnd);
    }
    if (!result.endsWith('\n')) {
        result += lineEnd;
    }
    for (const AskTurn& turn : turns) {
        if (!result.endsWith(lineEnd + lineEnd)) {
            result += lineEnd;
        }
        result += turnText(turn).toUtf8().replace("\n", lineEnd);
    }
    return result;
}

QByteArray write(const AskThread& thread) {
    const QString title = Frontmatter::lines(thread.title).join(u' ');
    QStringList lines{u"---"_s, u"title: "_s + title, u"created: "_s + dates::iso(thread.created)};
    if (thread.scope) {
        lines << u"scope: "_s + thread.scope->token();
    }
    lines << u"---"_s << QString() << escaped(u"# "_s + thread.title, beginsSection) << QString();
    for (const AskTurn& turn : thread.turns) {
        lines << turnText(turn);
    }
    return lines.join(u'\n').toUtf8();
}

}  // namespace lumbro::askThreadFile
