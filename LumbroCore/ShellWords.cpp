#include "LumbroCore/ShellWords.h"

#include "LumbroCore/Literals.h"

namespace lumbro {

std::optional<QStringList> shellWords(const QString& line) {
    QStringList words;
    QChar quote;
    bool isWord = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        QChar c = line[i];
        const bool isBlank = quote.isNull() && c.isSpace();
        if (!isBlank && !isWord) {
            words << QString();
        }
        isWord = !isBlank;
        if (isBlank) {
            continue;
        }
        if (c == quote || (quote.isNull() && (c == u'"' || c == u'\''))) {
            quote = quote.isNull() ? c : QChar();
            continue;
        }
        if (c == u'\\' && quote != u'\'') {
            if (i + 1 == line.size()) {
                return std::nullopt;
            }
            const QChar next = line[i + 1];
            // Between double quotes a backslash is itself before all but these.
            if (quote.isNull() || u"\\\"$`"_s.contains(next)) {
                c = next;
                ++i;
            }
        }
        words.last() += c;
    }
    return quote.isNull() ? std::optional(words) : std::nullopt;
}

}  // namespace lumbro
