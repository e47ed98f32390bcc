#include "chats/formats/Redact.h"

#include "LumbroCore/Literals.h"
#include "chats/formats/SecretRules.h"

#include <QRegularExpression>
#include <QStringList>

#include <array>
#include <cstdint>
#include <vector>

namespace lumbro {

namespace {

constexpr size_t letters = 128;

constexpr std::array<uint8_t, letters> makeLowerCase() {
    std::array<uint8_t, letters> table{};
    for (size_t c = 0; c < letters; ++c) {
        table[c] = uint8_t(c >= 'A' && c <= 'Z' ? c + 0x20 : c);
    }
    return table;
}

/// The letter in lower case; 0 for one that no hint has. Two foreign letters count as equal to an English one
/// where case does not matter.
size_t folded(QChar c) {
    static constexpr std::array<uint8_t, letters> lowerCase = makeLowerCase();
    constexpr char16_t longS = 0x17f;
    constexpr char16_t kelvin = 0x212a;
    const char16_t unit = c.unicode();
    if (unit < letters) {
        return lowerCase[unit];
    }
    return unit == longS ? 's' : unit == kelvin ? 'k' : 0;
}

struct Rule {
    QRegularExpression pattern;
    QString replacement;
};

/// The rules, and for each pair of letters the hints that begin with it: one walk over a text tells which
/// rules can have a match.
class Rules {
  public:
    Rules() {
        for (const SecretRule& rule : secretRules()) {
            for (const QString& hint : QString::fromLatin1(rule.hints).split(u' ')) {
                addHint(hint, m_rules.size());
            }
            m_rules.push_back({QRegularExpression(QString::fromLatin1(rule.pattern),
                                                  QRegularExpression::UseUnicodePropertiesOption),
                               QString::fromLatin1(rule.replacement)});
            m_rules.back().pattern.optimize();
        }
    }

    const Rule& at(size_t index) const { return m_rules[index]; }
    /// For each rule, whether one of its hints stands in the text.
    std::vector<bool> matching(QStringView text) const;

  private:
    struct Hint {
        QString text;
        size_t rule;
    };

    static size_t pair(size_t first, size_t second) { return first * letters + second; }
    void addHint(const QString& hint, size_t rule);
    static bool stands(const QString& hint, QStringView text);

    std::vector<Rule> m_rules;
    /// Lists of hints; the first is empty.
    std::vector<std::vector<Hint>> m_lists{1};
    /// For each list and letter, whether a hint goes on with it behind its pair.
    std::vector<std::array<bool, letters>> m_goesOn{1};
    std::array<uint8_t, letters * letters> m_listOfPair{};
};

void Rules::addHint(const QString& hint, size_t rule) {
    uint8_t& list = m_listOfPair[pair(folded(hint[0]), folded(hint[1]))];
    if (list == 0) {
        list = uint8_t(m_lists.size());
        m_lists.emplace_back();
        m_goesOn.emplace_back();
    }
    m_lists[list].push_back({hint, rule});
    if (hint.size() == 2) {
        m_goesOn[list].fill(true);
    } else {
        m_goesOn[list][folded(hint[2])] = true;
    }
}

bool Rules::stands(const QString& hint, QStringView text) {
    if (text.size() < hint.size()) {
        return false;
    }
    for (qsizetype i = 0; i < hint.size(); ++i) {
        if (folded(text[i]) != hint[i].unicode()) {
            return false;
        }
    }
    return true;
}

std::vector<bool> Rules::matching(QStringView text) const {
    std::vector<bool> found(m_rules.size());
    size_t first = 0;
    size_t second = 0;
    // Pairs are frequent in all texts, so the letter behind them is asked for in the same question. The end
    // of the text is a letter that no hint has.
    for (qsizetype at = 0; at <= text.size(); ++at) {
        const size_t third = at < text.size() ? folded(text[at]) : 0;
        const uint8_t list = m_listOfPair[pair(first, second)];
        if (m_goesOn[list][third]) {
            for (const Hint& hint : m_lists[list]) {
                found[hint.rule] = found[hint.rule] || stands(hint.text, text.sliced(at - 2));
            }
        }
        first = second;
        second = third;
    }
    return found;
}

/// Marks that an earlier pass has left, as the rules would take a part of one for a password. No rule takes
/// anything between two quotes and two quotes.
struct Mark {
    QString text;
    QString standIn;
};

const std::array<Mark, 2>& marks() {
    static const std::array all{Mark{u"[hidden key]"_s, u"''\ue0f1''"_s},
                                Mark{u"[hidden token]"_s, u"''\ue0f2''"_s}};
    return all;
}

}  // namespace

QString Redact::secrets(const QString& text) {
    static const Rules rules;
    QString result = text;
    for (const Mark& mark : marks()) {
        result.replace(mark.text, mark.standIn);
    }
    const std::vector<bool> matching = rules.matching(result);
    for (size_t i = 0; i < matching.size(); ++i) {
        if (matching[i]) {
            result.replace(rules.at(i).pattern, rules.at(i).replacement);
        }
    }
    for (const Mark& mark : marks()) {
        result.replace(mark.standIn, mark.text);
    }
    return result;
}

}  // namespace lumbro
