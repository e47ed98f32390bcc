#include "ask/TranscriptScan.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace lumbro {

namespace {

bool isHex(char c) {
    const auto letter = unsigned(c | 0x20) - 'a';
    return unsigned(c) - '0' < 10U || letter < 6U;
}

/// The usual form with dashes, and not the id of nothing. Without a branch for each letter, since there are
/// many ids.
bool isId(QByteArrayView text) {
    constexpr qsizetype length = 36;
    if (text.size() != length || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return false;
    }
    int digits = 0;
    int zeros = 0;
    for (qsizetype i = 0; i < length; ++i) {
        digits += isHex(text[i]) ? 1 : 0;
        zeros += text[i] == '0' ? 1 : 0;
    }
    return digits == length - 4 && zeros < digits;
}

void appendUtf8(char32_t scalar, QByteArray& out) {
    const auto units = QChar::fromUcs4(scalar);
    out += QStringView(units.begin(), units.end()).toUtf8();
}

/// Takes one token after another; whatever is not as asked for fails.
class Scanner {
  public:
    explicit Scanner(QByteArrayView bytes) : m_at(bytes.begin()), m_end(bytes.end()) {}

    /// Passes over blanks, then over `token` when it comes next.
    bool take(char token) {
        if (isAtEnd() || *m_at != token) {
            return false;
        }
        ++m_at;
        return true;
    }
    /// All of a segment up to its time, in the layout that we write, which takes a third of the time of going
    /// from token to token. False, with nothing taken, for any other layout.
    bool takeUsualHead(QByteArrayView& id, QByteArrayView& speaker) {
        constexpr qsizetype idLength = 36;
        const char* at = m_at;
        const auto skip = [this, &at](QByteArrayView token) {
            const bool isThere =
                m_end - at >= token.size() && std::memcmp(at, token.data(), size_t(token.size())) == 0;
            at += isThere ? token.size() : 0;
            return isThere;
        };
        if (!skip("\n  {\n    \"id\": \"") || m_end - at < idLength) {
            return false;
        }
        id = QByteArrayView(at, idLength);
        at += idLength;
        if (!skip("\",\n    \"speaker\": \"")) {
            return false;
        }
        const char* begin = at;
        if (!skip("Me") && !skip("Them")) {
            return false;
        }
        speaker = QByteArrayView(begin, at);
        if (!skip("\",\n    \"start\": ")) {
            return false;
        }
        m_at = at;
        return true;
    }
    /// The same in any layout.
    bool takeHead(QByteArrayView& id, QByteArrayView& speaker) {
        return takeUsualHead(id, speaker) ||
               (take('{') && takeKey("\"id\"") && takePlain(id) && take(',') && takeKey("\"speaker\"") &&
                takePlain(speaker) && take(',') && takeKey("\"start\""));
    }
    /// A key, as it stands with its quotes, and the colon behind it.
    bool takeKey(QByteArrayView key) {
        if (isAtEnd() || m_end - m_at < key.size() ||
            std::memcmp(m_at, key.data(), size_t(key.size())) != 0) {
            return false;
        }
        m_at += key.size();
        return take(':');
    }
    /// A string as it stands between its quotes; `escaped` tells of a backslash in it.
    bool takeString(QByteArrayView& text, bool& escaped) {
        escaped = false;
        if (!take('"')) {
            return false;
        }
        const char* begin = m_at;
        for (;;) {
            const auto* quote = static_cast<const char*>(std::memchr(m_at, '"', size_t(m_end - m_at)));
            if (quote == nullptr) {
                return false;
            }
            const auto* slash = static_cast<const char*>(std::memchr(m_at, '\\', size_t(quote - m_at)));
            if (slash == nullptr) {
                text = QByteArrayView(begin, quote);
                m_at = quote + 1;
                return !hasControls(text);
            }
            escaped = true;
            if (m_end - slash < 2) {
                return false;
            }
            m_at = slash + 2;
        }
    }
    bool takePlain(QByteArrayView& text) {
        bool escaped = false;
        return takeString(text, escaped) && !escaped;
    }
    /// A time in a recording: digits with at most one fraction, and no needless zero in front, which is no
    /// JSON.
    bool takeNumber(double& value) {
        // So many digits are a whole number that a double holds, and dividing it rounds as reading it does.
        constexpr qsizetype most = 15;
        if (isAtEnd()) {
            return false;
        }
        const char* begin = m_at;
        quint64 number = 0;
        const qsizetype whole = takeDigits(number);
        if (whole == 0 || (whole > 1 && *begin == '0')) {
            return false;
        }
        double divisor = 1;
        if (m_at != m_end && *m_at == '.') {
            ++m_at;
            const qsizetype fraction = takeDigits(number);
            if (fraction == 0) {
                return false;
            }
            for (qsizetype i = 0; i < fraction; ++i) {
                divisor *= 10;
            }
        }
        value = double(number) / divisor;
        return m_at - begin <= most;
    }
    /// Passes over blanks; true when nothing else is left.
    bool isAtEnd() {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\t' || *m_at == '\r')) {
            ++m_at;
        }
        return m_at == m_end;
    }

  private:
    static bool hasControls(QByteArrayView text) {
        bool has = false;
        for (const char c : text) {
            has |= static_cast<unsigned char>(c) < ' ';
        }
        return has;
    }
    qsizetype takeDigits(quint64& number) {
        const char* begin = m_at;
        while (m_at != m_end && *m_at >= '0' && *m_at <= '9') {
            number = number * 10 + quint64(*m_at++ - '0');
        }
        return m_at - begin;
    }

    const char* m_at;
    const char* m_end;
};

/// The four digits behind "\u", as a UTF-16 unit.
std::optional<char16_t> unitAt(QByteArrayView text, qsizetype at) {
    quint16 unit = 0;
    if (text.size() < at + 4 || !std::all_of(text.begin() + at, text.begin() + at + 4, isHex)) {
        return std::nullopt;
    }
    std::from_chars(text.data() + at, text.data() + at + 4, unit, 16);
    return unit;
}

/// The scalar of the escape "\uXXXX" or of a pair of them at `at`, which moves behind it. Nothing for half a
/// pair.
std::optional<char32_t> scalarAt(QByteArrayView text, qsizetype& at) {
    const auto unit = unitAt(text, at + 2);
    at += 6;
    if (!unit || QChar::isLowSurrogate(*unit)) {
        return std::nullopt;
    }
    if (!QChar::isHighSurrogate(*unit)) {
        return *unit;
    }
    const bool hasOther = text.sliced(std::min(at, text.size())).startsWith("\\u");
    const auto other = hasOther ? unitAt(text, at + 2) : std::nullopt;
    at += 6;
    if (!other || !QChar::isLowSurrogate(*other)) {
        return std::nullopt;
    }
    return QChar::surrogateToUcs4(*unit, *other);
}

/// Appends the text without its escapes; false when one of them is no JSON or half a letter.
bool unescape(QByteArrayView text, QByteArray& out) {
    constexpr QByteArrayView names = "\"\\/bfnrt";
    constexpr QByteArrayView values = "\"\\/\b\f\n\r\t";
    for (qsizetype i = 0; i < text.size();) {
        if (text[i] != '\\') {
            out += text[i++];
        } else if (text[i + 1] == 'u') {
            const auto scalar = scalarAt(text, i);
            if (!scalar) {
                return false;
            }
            appendUtf8(*scalar, out);
        } else {
            const qsizetype name = names.indexOf(text[i + 1]);
            if (name < 0) {
                return false;
            }
            out += values[name];
            i += 2;
        }
    }
    return true;
}

}  // namespace

bool TranscriptScan::read(QByteArrayView bytes) {
    m_segments.clear();
    m_unescaped.clear();
    Scanner scanner(bytes);
    if (!bytes.isValidUtf8() || !scanner.take('[')) {
        return false;
    }
    if (scanner.take(']')) {
        return scanner.isAtEnd();
    }
    do {
        Segment segment;
        QByteArrayView id;
        QByteArrayView speaker;
        bool escaped = false;
        if (!scanner.takeHead(id, speaker) || !isId(id) || (speaker != "Me" && speaker != "Them") ||
            !scanner.takeNumber(segment.start) || !scanner.take(',') || !scanner.takeKey("\"text\"") ||
            !scanner.takeString(segment.text, escaped) || !scanner.take('}')) {
            return false;
        }
        if (segment.text.startsWith("\xef\xbb\xbf")) {
            // The decoder would take a byte order mark away.
            return false;
        }
        segment.speaker = speaker == "Me" ? Speaker::me : Speaker::them;
        if (escaped) {
            // Reserved once, so that the views into it stay.
            m_unescaped.reserve(bytes.size());
            const qsizetype begin = m_unescaped.size();
            if (!unescape(segment.text, m_unescaped)) {
                return false;
            }
            segment.text = QByteArrayView(m_unescaped).sliced(begin);
        }
        m_segments.push_back(segment);
    } while (scanner.take(','));
    return scanner.take(']') && scanner.isAtEnd();
}

}  // namespace lumbro
