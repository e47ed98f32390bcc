#include "chats/formats/JsonScanner.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace lumbro {

namespace {

constexpr int maxDepth = 512;

constexpr std::array<bool, 256> makeStringStops() {
    std::array<bool, 256> stops{};
    for (int c = 0; c < 0x20; ++c) {
        stops[size_t(c)] = true;
    }
    stops['"'] = true;
    stops['\\'] = true;
    return stops;
}

constexpr std::array<bool, 256> stringStops = makeStringStops();

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The first byte from `at` on that is not plain in a string. By eight, as texts are long and mostly plain.
const char* plainEnd(const char* at, const char* end) {
    constexpr qsizetype width = 8;
    constexpr uint64_t each = 0x0101010101010101;
    const auto isStop = [](char c) { return stringStops[uchar(c)]; };
    // The highest bit of each byte that is below `bound`, and at times of one above such a byte.
    const auto below = [](uint64_t bytes, uint64_t bound) { return (bytes - each * bound) & ~bytes; };
    for (; end - at >= width; at += width) {
        uint64_t bytes = 0;
        std::memcpy(&bytes, at, sizeof bytes);
        const uint64_t quotes = bytes ^ (each * '"');
        const uint64_t escapes = bytes ^ (each * '\\');
        if (((below(bytes, 0x20) | below(quotes, 1) | below(escapes, 1)) & (each * 0x80)) != 0) {
            const char* const stop = std::find_if(at, at + width, isStop);
            if (stop != at + width) {
                return stop;
            }
        }
    }
    return std::find_if(at, end, isStop);
}

/// The value of a hexadecimal digit, or -1.
int hexDigit(char c) {
    if (isDigit(c)) {
        return c - '0';
    }
    const char lower = char(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// The code unit of "\uXXXX" behind its "\u", or -1.
int codeUnit(QByteArrayView digits) {
    if (digits.size() < 4) {
        return -1;
    }
    int unit = 0;
    for (const char c : digits.first(4)) {
        const int digit = hexDigit(c);
        if (digit < 0) {
            return -1;
        }
        unit = unit * 16 + digit;
    }
    return unit;
}

/// What an escape other than "\u" stands for, or 0.
char plainEscape(char c) {
    constexpr QByteArrayView letters("\"\\/bfnrt");
    constexpr QByteArrayView meanings("\"\\/\b\f\n\r\t");
    const qsizetype at = letters.indexOf(c);
    return at < 0 ? '\0' : meanings[at];
}

/// Where to cut `raw` so that no escape and no character of UTF-8 is split.
qsizetype cutBefore(QByteArrayView raw, qsizetype maxBytes) {
    qsizetype at = 0;
    while (at < maxBytes) {
        const qsizetype escape = raw.indexOf('\\', at);
        if (escape < 0 || escape >= maxBytes) {
            at = maxBytes;
            break;
        }
        const qsizetype end = escape + (raw[escape + 1] == 'u' ? 6 : 2);
        if (end > maxBytes) {
            return escape;
        }
        at = end;
    }
    while (at > 0 && (uchar(raw[at]) & 0xc0) == 0x80) {
        --at;
    }
    return at;
}

/// Writes a character at `out`; gives the place behind it.
char* putUtf8(char* out, char32_t c) {
    if (c < 0x80) {
        *out++ = char(c);
        return out;
    }
    if (c >= 0x10000) {
        *out++ = char(0xf0 | (c >> 18));
        *out++ = char(0x80 | ((c >> 12) & 0x3f));
    } else if (c >= 0x800) {
        *out++ = char(0xe0 | (c >> 12));
    }
    *out++ = c >= 0x800 ? char(0x80 | ((c >> 6) & 0x3f)) : char(0xc0 | (c >> 6));
    *out++ = char(0x80 | (c & 0x3f));
    return out;
}

/// Takes what stands behind "\u", and the second half where that is the first of two; half a character alone
/// becomes the one that stands for the unreadable.
char32_t takeUnits(QByteArrayView& raw) {
    const auto unit = char16_t(codeUnit(raw));
    raw = raw.sliced(4);
    if (!QChar::isSurrogate(unit)) {
        return unit;
    }
    if (QChar::isHighSurrogate(unit) && raw.startsWith("\\u")) {
        const auto low = char16_t(codeUnit(raw.sliced(2)));
        if (QChar::isLowSurrogate(low)) {
            raw = raw.sliced(6);
            return QChar::surrogateToUcs4(unit, low);
        }
    }
    return QChar::ReplacementCharacter;
}

QString unescaped(QByteArrayView raw) {
    qsizetype escape = raw.indexOf('\\');
    if (escape < 0) {
        return QString::fromUtf8(raw);
    }
    // In bytes first, which are never more than those of the escapes: a conversion for each piece between
    // escapes would cost more than all else.
    QByteArray utf8(raw.size(), Qt::Uninitialized);
    char* out = utf8.data();
    for (; escape >= 0; escape = raw.indexOf('\\')) {
        out = std::copy_n(raw.data(), escape, out);
        const char letter = raw[escape + 1];
        raw = raw.sliced(escape + 2);
        if (letter == 'u') {
            out = putUtf8(out, takeUnits(raw));
        } else {
            *out++ = plainEscape(letter);
        }
    }
    out = std::copy_n(raw.data(), raw.size(), out);
    return QString::fromUtf8(utf8.constData(), out - utf8.constData());
}

}  // namespace

void JsonScanner::skipBlanks() {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (m_at < m_bytes.size() && isBlank(m_bytes[m_at])) {
        ++m_at;
    }
}

char JsonScanner::peek() {
    skipBlanks();
    return m_failed || m_at >= m_bytes.size() ? '\0' : m_bytes[m_at];
}

bool JsonScanner::enter(char bracket) {
    if (peek() != bracket || m_depth >= maxDepth) {
        return false;
    }
    ++m_at;
    ++m_depth;
    return true;
}

bool JsonScanner::leave(char bracket) {
    if (peek() != bracket) {
        return false;
    }
    ++m_at;
    --m_depth;
    return true;
}

bool JsonScanner::next(char bracket) {
    if (leave(bracket)) {
        return false;
    }
    if (peek() != ',') {
        fail();
        return false;
    }
    ++m_at;
    return true;
}

QByteArray JsonScanner::memberKey() {
    const auto raw = rawString();
    if (!raw || peek() != ':') {
        fail();
        return {};
    }
    ++m_at;
    return raw->contains('\\') ? unescaped(*raw).toUtf8() : QByteArray::fromRawData(raw->data(), raw->size());
}

std::optional<QByteArrayView> JsonScanner::rawString() {
    if (peek() != '"') {
        fail();
        return std::nullopt;
    }
    const qsizetype begin = m_at + 1;
    const char* const end = m_bytes.data() + m_bytes.size();
    const char* at = m_bytes.data() + begin;
    while (true) {
        at = plainEnd(at, end);
        if (at == end || *at != '\\') {
            break;
        }
        const bool isUnit = at + 1 < end && at[1] == 'u';
        const bool isGood =
            isUnit ? codeUnit(QByteArrayView(at + 2, end)) >= 0 : at + 1 < end && plainEscape(at[1]) != '\0';
        if (!isGood) {
            fail();
            return std::nullopt;
        }
        at += isUnit ? 6 : 2;
    }
    if (at == end || *at != '"') {
        fail();
        return std::nullopt;
    }
    m_at = at - m_bytes.data() + 1;
    return m_bytes.sliced(begin, m_at - 1 - begin);
}

std::optional<QString> JsonScanner::string(qsizetype maxBytes) {
    if (peek() != '"') {
        skip();
        return std::nullopt;
    }
    const auto raw = rawString();
    if (!raw) {
        return std::nullopt;
    }
    return unescaped(raw->size() > maxBytes ? raw->first(cutBefore(*raw, maxBytes)) : *raw);
}

bool JsonScanner::isTrue() {
    const bool result = peek() == 't';
    skip();
    return result;
}

void JsonScanner::number() {
    const auto digits = [this] {
        const qsizetype begin = m_at;
        while (m_at < m_bytes.size() && isDigit(m_bytes[m_at])) {
            ++m_at;
        }
        return m_at > begin;
    };
    const auto take = [this](QByteArrayView any) {
        const bool found = m_at < m_bytes.size() && any.contains(m_bytes[m_at]);
        m_at += found ? 1 : 0;
        return found;
    };
    take("-");
    bool isGood = take("0") || digits();
    if (isGood && take(".")) {
        isGood = digits();
    }
    if (isGood && take("eE")) {
        take("+-");
        isGood = digits();
    }
    if (!isGood) {
        fail();
    }
}

void JsonScanner::word(QByteArrayView text) {
    if (m_bytes.sliced(m_at).startsWith(text)) {
        m_at += text.size();
    } else {
        fail();
    }
}

void JsonScanner::skip() {
    switch (peek()) {
        case '{':
            if (!members([this](const QByteArray&) { skip(); })) {
                fail();
            }
            break;
        case '[':
            if (!elements([this] { skip(); })) {
                fail();
            }
            break;
        case '"':
            rawString();
            break;
        case 't':
            word("true");
            break;
        case 'f':
            word("false");
            break;
        case 'n':
            word("null");
            break;
        default:
            number();
    }
}

bool JsonScanner::isDone() {
    skipBlanks();
    return !m_failed && m_depth == 0 && m_at == m_bytes.size();
}

}  // namespace lumbro
