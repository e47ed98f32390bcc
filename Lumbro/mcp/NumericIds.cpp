#include "mcp/NumericIds.h"

namespace lumbro {

namespace {

/// One walk over JSON that is known to be right.
class Walk {
  public:
    explicit Walk(QByteArrayView line) : m_line(line) {}

    QHash<qsizetype, QByteArray> run() {
        skipBlanks();
        const bool isBatch = at() == '[';
        const int messageDepth = isBatch ? 2 : 1;
        qsizetype place = 0;
        int depth = 0;
        while (m_at < m_line.size()) {
            const char c = at();
            if (c == '"') {
                const QByteArrayView text = string();
                if (depth == messageDepth && text == R"("id")") {
                    take(place);
                }
                continue;
            }
            depth += c == '{' || c == '[' ? 1 : c == '}' || c == ']' ? -1 : 0;
            place += isBatch && depth == 1 && c == ',' ? 1 : 0;
            ++m_at;
        }
        return m_ids;
    }

  private:
    char at() const { return m_at < m_line.size() ? m_line[m_at] : '\0'; }
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
    void skipBlanks() {
        while (isBlank(at())) {
            ++m_at;
        }
    }
    /// With its quotes.
    QByteArrayView string() {
        const qsizetype begin = m_at++;
        while (m_at < m_line.size() && at() != '"') {
            m_at += at() == '\\' ? 2 : 1;
        }
        m_at = qMin(m_at + 1, m_line.size());
        return m_line.sliced(begin, m_at - begin);
    }
    /// What follows the word "id"; of several members of that name the last one counts.
    void take(qsizetype place) {
        skipBlanks();
        if (at() != ':') {
            return;
        }
        ++m_at;
        skipBlanks();
        const qsizetype begin = m_at;
        while (QByteArrayView("+-.eE0123456789").contains(at()) && m_at < m_line.size()) {
            ++m_at;
        }
        m_ids.insert(place, m_line.sliced(begin, m_at - begin).toByteArray());
    }

    QByteArrayView m_line;
    qsizetype m_at = 0;
    QHash<qsizetype, QByteArray> m_ids;
};

}  // namespace

QHash<qsizetype, QByteArray> numericIDs(QByteArrayView line) {
    return Walk(line).run();
}

}  // namespace lumbro
