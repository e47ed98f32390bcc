#include "memory/formats/EnglishDate.h"

#include "LumbroCore/Literals.h"

#include <QDate>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <vector>

namespace lumbro {

namespace {

/// Phrases of promises are short; what somebody pasted need not be read to its end.
constexpr qsizetype mostCharacters = 2000;

struct Token {
    enum class Kind { word, number, sign };

    Kind kind = Kind::sign;
    QStringView text;
    /// Digits of a number, with "st", "nd", "rd" or "th" behind them or not.
    qsizetype digits = 0;
    int value = 0;
};

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

/// A text in pieces: words, numbers, and single other characters. Amounts, times of day and the like become
/// signs, so that no day is found in them.
class Tokens {
  public:
    explicit Tokens(QStringView text) : m_text(text.first(std::min(text.size(), mostCharacters))) {
        while (m_at < m_text.size()) {
            const QChar c = m_text[m_at];
            if (c.isLetter()) {
                m_tokens.push_back({Token::Kind::word, take(&isLetter), 0, 0});
            } else if (isDigit(c)) {
                m_tokens.push_back(takeNumber());
            } else {
                if (!c.isSpace()) {
                    m_tokens.push_back({Token::Kind::sign, m_text.sliced(m_at, 1), 0, 0});
                }
                ++m_at;
            }
        }
    }

    size_t size() const { return m_tokens.size(); }
    /// A sign without text behind the end.
    const Token& at(size_t index) const {
        static const Token none;
        return index < m_tokens.size() ? m_tokens[index] : none;
    }
    bool isWord(size_t index, QStringView word) const {
        return at(index).kind == Token::Kind::word && at(index).text.compare(word, Qt::CaseInsensitive) == 0;
    }
    bool isSign(size_t index, QStringView signs) const {
        const Token& token = at(index);
        return token.kind == Token::Kind::sign && token.text.size() == 1 && signs.contains(token.text[0]);
    }

  private:
    static bool isLetter(QChar c) { return c.isLetter(); }

    template <typename Matches>
    QStringView take(Matches matches) {
        const qsizetype begin = m_at;
        while (m_at < m_text.size() && matches(m_text[m_at])) {
            ++m_at;
        }
        return m_text.sliced(begin, m_at - begin);
    }

    Token takeNumber() {
        const qsizetype begin = m_at;
        const QStringView digits = take(&isDigit);
        const QStringView suffix = take(&isLetter);
        const bool isPlain = suffix.isEmpty() || isOrdinalEnd(suffix);
        if (!isPlain || digits.size() > 4 || isAmount(begin, m_at)) {
            return {Token::Kind::sign, m_text.sliced(begin, m_at - begin), 0, 0};
        }
        return {Token::Kind::number, m_text.sliced(begin, m_at - begin), digits.size(), digits.toInt()};
    }

    static bool isOrdinalEnd(QStringView suffix) {
        for (const QStringView end : {u"st", u"nd", u"rd", u"th"}) {
            if (suffix.compare(end, Qt::CaseInsensitive) == 0) {
                return true;
            }
        }
        return false;
    }

    bool isAmount(qsizetype begin, qsizetype end) const {
        const auto character = [this](qsizetype at) {
            return at >= 0 && at < m_text.size() ? m_text[at] : QChar(u' ');
        };
        const QChar before = character(begin - 1);
        const QChar after = character(end);
        const bool isFraction = (before == u'.' && isDigit(character(begin - 2))) ||
                                (after == u'.' && isDigit(character(end + 1)));
        return QStringView(u"$€£#:").contains(before) || after == u'%' || after == u':' ||
               (isFraction && !isDotted(begin));
    }

    /// "2026.3.5"
    bool isDotted(qsizetype begin) const {
        return std::ranges::count(
                   m_text.sliced(std::max<qsizetype>(0, begin - 8),
                                 std::min<qsizetype>(16, m_text.size() - std::max<qsizetype>(0, begin - 8))),
                   QChar(u'.')) > 1;
    }

    QStringView m_text;
    qsizetype m_at = 0;
    std::vector<Token> m_tokens;
};

/// 1 to 12, or 0.
int monthOf(const Token& token) {
    static const QStringList names{u"january"_s,   u"february"_s, u"march"_s,    u"april"_s,
                                   u"may"_s,       u"june"_s,     u"july"_s,     u"august"_s,
                                   u"september"_s, u"october"_s,  u"november"_s, u"december"_s};
    if (token.kind != Token::Kind::word || token.text.size() < 3) {
        return 0;
    }
    const QString word = token.text.toString().toLower();
    for (int i = 0; i < names.size(); ++i) {
        if (word == names[i] || word == names[i].first(3) || (i == 8 && word == u"sept")) {
            return i + 1;
        }
    }
    return 0;
}

/// "first" to "thirty-first" at `index`, which moves behind it, or 0.
int spokenDay(const Tokens& tokens, size_t& index) {
    static const QStringList words{u"first"_s,       u"second"_s,     u"third"_s,      u"fourth"_s,
                                   u"fifth"_s,       u"sixth"_s,      u"seventh"_s,    u"eighth"_s,
                                   u"ninth"_s,       u"tenth"_s,      u"eleventh"_s,   u"twelfth"_s,
                                   u"thirteenth"_s,  u"fourteenth"_s, u"fifteenth"_s,  u"sixteenth"_s,
                                   u"seventeenth"_s, u"eighteenth"_s, u"nineteenth"_s, u"twentieth"_s};
    if (tokens.at(index).kind != Token::Kind::word) {
        return 0;
    }
    const QString word = tokens.at(index).text.toString().toLower();
    const int tens = word == u"twenty" ? 20 : word == u"thirty" ? 30 : 0;
    if (tens > 0) {
        size_t ones = index + 1;
        ones += tokens.isSign(ones, u"-") ? 1 : 0;
        const auto unit = static_cast<int>(words.indexOf(tokens.at(ones).text.toString().toLower())) + 1;
        index = ones + 1;
        return unit >= 1 && unit <= 9 ? tens + unit : 0;
    }
    ++index;
    return word == u"thirtieth" ? 30 : static_cast<int>(words.indexOf(word)) + 1;
}

int dayNumber(const Token& token) {
    return token.kind == Token::Kind::number && token.digits <= 2 ? token.value : 0;
}

bool isBareNumber(const Token& token, qsizetype mostDigits) {
    return token.kind == Token::Kind::number && token.digits <= mostDigits &&
           token.text.size() == token.digits;
}

EnglishDate monthFirst(const Tokens& tokens, size_t index) {
    const int month = monthOf(tokens.at(index));
    if (month == 0) {
        return {};
    }
    ++index;
    index += tokens.isSign(index, u".,-") ? 1 : 0;
    index += tokens.isWord(index, u"the") ? 1 : 0;
    const int day = dayNumber(tokens.at(index));
    return {month, day > 0 ? day : spokenDay(tokens, index)};
}

EnglishDate dayFirst(const Tokens& tokens, size_t index) {
    int day = dayNumber(tokens.at(index));
    const bool isSpoken = day == 0;
    if (isSpoken) {
        day = spokenDay(tokens, index);
    } else {
        ++index;
    }
    index += tokens.isSign(index, u".-") ? 1 : 0;
    index += tokens.isWord(index, u"day") ? 1 : 0;
    if (tokens.isWord(index, u"of")) {
        ++index;
    } else if (isSpoken) {
        return {};  // "a second march"
    }
    return {monthOf(tokens.at(index)), day};
}

EnglishDate inNumbers(const Tokens& tokens, size_t index) {
    const Token& first = tokens.at(index);
    const Token& second = tokens.at(index + 2);
    const Token& third = tokens.at(index + 4);
    if (!isBareNumber(first, 4) || !isBareNumber(second, 2)) {
        return {};
    }
    const bool hasThird = isBareNumber(third, 4) && tokens.at(index + 3).text == tokens.at(index + 1).text;
    if (first.digits == 4) {
        const bool isWhole = hasThird && third.digits <= 2 && tokens.isSign(index + 1, u"-/.");
        return isWhole ? EnglishDate{second.value, third.value} : EnglishDate{};
    }
    const bool isSlashed = tokens.isSign(index + 1, u"/") && !(first.value == 24 && second.value == 7);
    const bool isDashed = tokens.isSign(index + 1, u"-") && hasThird && third.digits == 4;
    if (first.digits > 2 || (!isSlashed && !isDashed)) {
        return {};
    }
    return first.value > 12 ? EnglishDate{second.value, first.value} : EnglishDate{first.value, second.value};
}

bool exists(EnglishDate date) {
    constexpr int leapYear = 2024;
    return QDate::isValid(leapYear, date.month, date.day);
}

}  // namespace

std::optional<EnglishDate> EnglishDate::find(QStringView text) {
    const Tokens tokens(text);
    for (size_t i = 0; i < tokens.size(); ++i) {
        for (const auto read : {&monthFirst, &dayFirst, &inNumbers}) {
            const EnglishDate date = read(tokens, i);
            if (exists(date)) {
                return date;
            }
        }
    }
    return std::nullopt;
}

}  // namespace lumbro
