#include "library/formats/FlatJson.h"

#include <algorithm>

namespace lumbro {

namespace {

/// Reads one token after another; whatever is not as asked for fails.
class Scanner {
  public:
    explicit Scanner(QByteArrayView rest) : m_at(rest.begin()), m_end(rest.end()) {}

    /// Passes over blanks, then over `token` when it comes next.
    bool take(char token) {
        if (isAtEnd() || *m_at != token) {
            return false;
        }
        ++m_at;
        return true;
    }
    bool takeString(QByteArrayView& text) {
        if (!take('"')) {
            return false;
        }
        const char* begin = m_at;
        while (m_at != m_end && *m_at != '"' && *m_at != '\\' && static_cast<unsigned char>(*m_at) >= ' ') {
            ++m_at;
        }
        text = QByteArrayView(begin, m_at);
        if (m_at == m_end || *m_at != '"') {
            return false;
        }
        ++m_at;
        // The decoder would take a byte order mark away.
        return !text.startsWith("\xef\xbb\xbf");
    }
    /// Passes over blanks, then over digits when they come next: without a needless zero in front, which is
    /// no JSON, and without sign, fraction or exponent.
    bool takeNumber(QByteArrayView& text) {
        const char* begin = isAtEnd() ? m_end : m_at;
        const char* end = std::find_if_not(begin, m_end, [](char c) { return c >= '0' && c <= '9'; });
        if (begin == end || (*begin == '0' && end - begin > 1)) {
            return false;
        }
        text = QByteArrayView(begin, end);
        m_at = end;
        return true;
    }
    bool takeValue(FlatJson::Value& value) {
        value.isArray = take('[');
        if (!value.isArray) {
            value.isNumber = takeNumber(value.text);
            return value.isNumber || takeString(value.text);
        }
        if (take(']')) {
            return true;
        }
        do {
            if (!takeString(value.items.emplace_back())) {
                return false;
            }
        } while (take(','));
        return take(']');
    }
    /// Passes over blanks; true when nothing else is left.
    bool isAtEnd() {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\t' || *m_at == '\r')) {
            ++m_at;
        }
        return m_at == m_end;
    }

  private:
    const char* m_at;
    const char* m_end;
};

}  // namespace

QStringList FlatJson::Value::toStrings() const {
    QStringList list;
    list.reserve(items.size());
    for (const QByteArrayView item : items) {
        list.append(QString::fromUtf8(item));
    }
    return list;
}

std::optional<FlatJson> FlatJson::parse(QByteArrayView bytes) {
    // More members than any of our files has; each is compared with all before it.
    constexpr qsizetype most = 64;
    std::optional<FlatJson> object(std::in_place);
    Scanner scanner(bytes);
    if (!bytes.isValidUtf8() || !scanner.take('{')) {
        return std::nullopt;
    }
    do {
        QByteArrayView key;
        if (!scanner.takeString(key) || object->find(key) != nullptr || object->m_members.size() == most) {
            return std::nullopt;
        }
        Member& member = object->m_members.emplace_back();
        member.key = key;
        if (!scanner.take(':') || !scanner.takeValue(member.value)) {
            return std::nullopt;
        }
    } while (scanner.take(','));
    return scanner.take('}') && scanner.isAtEnd() ? std::move(object) : std::nullopt;
}

const FlatJson::Value* FlatJson::find(QByteArrayView key) const {
    const auto found = std::ranges::find(m_members, key, &Member::key);
    return found == m_members.end() ? nullptr : &found->value;
}

}  // namespace lumbro
