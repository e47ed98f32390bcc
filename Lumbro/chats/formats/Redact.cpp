#include "chats/formats/Redact.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "chats/formats/SecretRules.h"
#include "chats/formats/SeenText.h"

#include <QList>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <string_view>
#include <utility>
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

/// Foreign letters that count as "s" and "k" where case does not matter.
constexpr char16_t longS = 0x17f;
constexpr char16_t kelvin = 0x212a;

/// The letter in lower case; 0 for one that no hint has.
size_t folded(QChar c) {
    static constexpr std::array<uint8_t, letters> lowerCase = makeLowerCase();
    const char16_t unit = c.unicode();
    if (unit < letters) {
        return lowerCase[unit];
    }
    return unit == longS ? 's' : unit == kelvin ? 'k' : 0;
}

/// Letters as the walk over a text tells them apart: capitals and small ones, digits all alike, and what else
/// hints begin with.
constexpr size_t codeBits = 6;
constexpr size_t codes = size_t(1) << codeBits;

constexpr std::array<uint8_t, letters> makeCodes() {
    std::array<uint8_t, letters> table{};
    uint8_t next = 1;
    for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0-_.:/=+;\"")) {
        table[uint8_t(c)] = next++;
    }
    for (size_t digit = '1'; digit <= '9'; ++digit) {
        table[digit] = table['0'];
    }
    // Where the two foreign letters come out.
    table[longS % letters] = table['s'];
    table[kelvin % letters] = table['k'];
    return table;
}

/// Without a question whether the letter is ASCII: another one may get the code of one that is, which costs a
/// closer look and no more.
size_t codeOf(QChar c) {
    static constexpr std::array<uint8_t, letters> table = makeCodes();
    return table[c.unicode() % letters];
}

/// The codes for which a letter of a hint stands.
QList<size_t> codesOf(QChar c) {
    return c.isLower() ? QList{codeOf(c), codeOf(c.toUpper())} : QList{codeOf(c)};
}

struct Rule {
    QRegularExpression pattern;
    QString replacement;
};

/// What an earlier rule or pass has left, as the rules would take a part of it for a password. No rule takes
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

QString withStandIns(QString text) {
    // Most texts have neither, which is found out at the speed of memory.
    if (text.contains(u'[') && text.contains(u"[hidden "_s)) {
        for (const Mark& mark : marks()) {
            text.replace(mark.text, mark.standIn);
        }
    }
    return text;
}

QString withMarks(QString text) {
    for (const Mark& mark : marks()) {
        if (text.contains(mark.standIn.at(2))) {
            text.replace(mark.standIn, mark.text);
        }
    }
    return text;
}

/// The rules, and what tells in one walk over a text which of them can have a match: the hints, in lists by
/// their first two letters, and a table of the three letters with which a hint may begin.
class Rules {
  public:
    static constexpr size_t most = mostSecretRules;

    Rules() {
        for (const SecretRule& rule : secretRules()) {
            for (const QString& hint : QString::fromLatin1(rule.hints).split(u' ')) {
                addHint(hint, m_rules.size());
            }
            m_rules.push_back({QRegularExpression(QString::fromLatin1(rule.pattern),
                                                  QRegularExpression::UseUnicodePropertiesOption),
                               withStandIns(QString::fromLatin1(rule.replacement))});
        }
    }

    const Rule& at(size_t index) const { return m_rules[index]; }
    size_t size() const { return m_rules.size(); }
    /// For each rule, whether one of its hints stands in the text.
    std::bitset<most> matching(QStringView text) const;

  private:
    struct Hint {
        QString text;
        size_t rule;
    };

    static constexpr size_t pairs = codes * codes;
    static size_t pair(QStringView text) { return folded(text[0]) * letters + folded(text[1]); }
    void addHint(const QString& hint, size_t rule);
    static bool stands(const QString& hint, QStringView text);
    qsizetype nextBegin(QStringView text, qsizetype at) const;

    std::vector<Rule> m_rules;
    /// Lists of hints; the first is empty.
    std::vector<std::vector<Hint>> m_lists{1};
    std::array<uint8_t, letters * letters> m_listOfPair{};
    /// For each two codes a bit for each third.
    std::array<uint64_t, pairs> m_begins{};
};

void Rules::addHint(const QString& hint, size_t rule) {
    uint8_t& list = m_listOfPair[pair(hint)];
    if (list == 0) {
        list = uint8_t(m_lists.size());
        m_lists.emplace_back();
    }
    m_lists[list].push_back({hint, rule});
    const QList<size_t> thirds = hint.size() > 2 ? codesOf(hint[2]) : QList<size_t>();
    for (const size_t first : codesOf(hint[0])) {
        for (const size_t second : codesOf(hint[1])) {
            for (size_t third = 0; third < codes; ++third) {
                const bool begins = hint.size() == 2 || thirds.contains(third);
                m_begins[first * codes + second] |= uint64_t(begins) << third;
            }
        }
    }
}

bool Rules::stands(const QString& hint, QStringView text) {
    return text.size() >= hint.size() &&
           std::ranges::equal(hint, text.first(hint.size()), [](QChar wanted, QChar c) {
               return wanted.unicode() == folded(c) || (wanted == c && c >= u'A' && c <= u'Z');
           });
}

/// The first place from `at` on where a letter ends the beginning of a hint, or the text's size. A function
/// of its own, as all texts are walked here from end to end.
qsizetype Rules::nextBegin(QStringView text, qsizetype at) const {
    size_t two = codeOf(text[at - 2]) * codes + codeOf(text[at - 1]);
    for (; at < text.size(); ++at) {
        const size_t third = codeOf(text[at]);
        if (((m_begins[two] >> third) & 1) != 0) {
            return at;
        }
        two = (two * codes + third) % pairs;
    }
    return at;
}

std::bitset<Rules::most> Rules::matching(QStringView text) const {
    std::bitset<most> found;
    for (qsizetype at = 2; at < text.size() && (at = nextBegin(text, at)) < text.size(); ++at) {
        const QStringView rest = text.sliced(at - 2);
        for (const Hint& hint : m_lists[m_listOfPair[pair(rest)]]) {
            found[hint.rule] = found[hint.rule] || stands(hint.text, rest);
        }
    }
    return found;
}

const Rules& allRules() {
    static const Rules rules;
    return rules;
}

/// What an earlier pass has left stands in, and no half of a character: no pattern matches in a text with
/// one.
QString readable(const QString& text) {
    QString result = withStandIns(text);
    return result.isValidUtf16() ? result : QString::fromUtf8(result.toUtf8());
}

/// Of the replacement, "\1" to "\9" mean what was captured.
QString expanded(const QString& replacement, const QRegularExpressionMatch& match) {
    QString result;
    for (qsizetype i = 0; i < replacement.size(); ++i) {
        const bool isGroup =
            replacement[i] == u'\\' && i + 1 < replacement.size() && replacement[i + 1].isDigit();
        result += isGroup ? match.captured(replacement[++i].digitValue()) : QString(replacement[i]);
    }
    return result;
}

/// As SeenText does it.
bool replace(QString& text, const Rule& rule, const QString& unsearched) {
    QString result;
    qsizetype copied = 0;
    QRegularExpressionMatchIterator matches = rule.pattern.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        result += QStringView(text).sliced(copied, match.capturedStart() - copied);
        result += expanded(rule.replacement, match);
        copied = match.capturedEnd();
    }
    const bool isSearched = matches.isValid();
    if (copied > 0 || !isSearched) {
        text = result + (isSearched ? text.sliced(copied) : unsearched);
    }
    return isSearched;
}

bool replace(SeenText& text, const Rule& rule, const QString& unsearched) {
    return text.replace(rule.pattern, rule.replacement, unsearched);
}

template <typename Text>
void hide(Text& text, const std::bitset<Rules::most>& matching) {
    for (size_t i = 0; i < allRules().size(); ++i) {
        if (matching[i] && !replace(text, allRules().at(i), u"[hidden]"_s)) {
            AppLog::error(u"redaction"_s,
                          u"rule %1 gave up on a text, whose rest is hidden"_s.arg(QString::number(i)));
        }
    }
}

/// Once as the text is seen, and once as it stands: what is unseen may be all that parts a key from a word.
QString hiddenAsSeen(const QString& text) {
    SeenText seen(readable(text));
    const auto matchingSeen = allRules().matching(seen.text());
    const auto matching = allRules().matching(text);
    if (matchingSeen.none() && matching.none()) {
        return text;
    }
    hide(seen, matchingSeen);
    QString result = seen.whole();
    hide(result, matching);
    return withMarks(std::move(result));
}

}  // namespace

QString Redact::secrets(const QString& text) {
    if (SeenText::isNeededFor(text)) {
        return hiddenAsSeen(text);
    }
    const auto matching = allRules().matching(text);
    if (matching.none()) {
        return text;
    }
    QString result = readable(text);
    hide(result, matching);
    return withMarks(std::move(result));
}

}  // namespace lumbro
