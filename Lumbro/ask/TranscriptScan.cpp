#include "ask/TranscriptScan.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace lumbro {

namespace {

bool isHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The usual form with dashes, and not the id of nothing.
bool isId(QByteArrayView text) {
    constexpr qsizetype length = 36;
    bool isNull = true;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
        if (isDash ? text[i] != '-' : !isHex(text[i])) {
            return false;
        }
        isNull = isNull && (isDash || text[i] == '0');
    }
    return text.size() == length && !isNull;
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
    /// The key with the colon behind it.
    bool takeKey(QByteArrayView key) {
        QByteArrayView text;
        return takePlain(text) && text == key && take(':');
    }
    /// A string as it stands between its quotes; `escaped` tells of a backslash in it.
    bool takeString(QByteArrayView& text, bool& escaped) {
        escaped = false;
        if (!take('"')) {
            return false;
        }
        const char* begin = m_at;
        for (; m_at != m_end && *m_at != '"'; ++m_at) {
            if (static_cast<unsigned char>(*m_at) < ' ') {
                return false;
            }
            if (*m_at == '\\') {
                escaped = true;
                if (++m_at == m_end) {
                    return false;
                }
            }
        }
        text = QByteArrayView(begin, m_at);
        return m_at++ != m_end;
    }
    bool takePlain(QByteArrayView& text) {
        bool escaped = false;
        return takeString(text, escaped) && !escaped;
    }
    /// A time in a recording: digits with at most one fraction, and no needless zero in front, which is no
    /// JSON.
    bool takeNumber(double& value) {
        constexpr qsizetype most = 15;
        if (isAtEnd()) {
            return false;
        }
        const char* begin = m_at;
        const qsizetype whole = digits();
        if (whole == 0 || (whole > 1 && *begin == '0')) {
            return false;
        }
        if (m_at != m_end && *m_at == '.') {
            ++m_at;
            if (digits() == 0) {
                return false;
            }
        }
        return m_at - begin <= most && std::from_chars(begin, m_at, value).ptr == m_at;
    }
    /// Passes over blanks; true when nothing else is left.
    bool isAtEnd() {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\t' || *m_at == '\r')) {
            ++m_at;
        }
        return m_at == m_end;
    }

  private:
    qsizetype digits() {
        const char* begin = m_at;
        while (m_at != m_end && *m_at >= '0' && *m_at <= '9') {
            ++m_at;
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
        if (!scanner.take('{') || !scanner.takeKey("id") || !scanner.takePlain(id) || !isId(id) ||
            !scanner.take(',') || !scanner.takeKey("speaker") || !scanner.takePlain(speaker) ||
            (speaker != "Me" && speaker != "Them") || !scanner.take(',') || !scanner.takeKey("start") ||
            !scanner.takeNumber(segment.start) || !scanner.take(',') || !scanner.takeKey("text") ||
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
