#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

namespace lumbro {

/// Walks once over the bytes of a JSON document and gives only the values that are asked for: nothing is
/// built for the rest, however large. After anything that is not JSON it has failed, and gives empty values.
/// Text must be valid UTF-8; the bytes must outlive the scanner.
class JsonScanner {
  public:
    explicit JsonScanner(QByteArrayView bytes) : m_bytes(bytes) {}

    /// Calls `take(key)` for each member of the object that stands here. It must take the member's value with
    /// one of the functions below. False, and nothing taken, when something else stands here.
    template <typename Take>
    bool members(const Take& take) {
        if (!enter('{')) {
            return false;
        }
        bool more = !leave('}');
        while (more) {
            const QByteArray key = memberKey();
            if (m_failed) {
                break;
            }
            take(key);
            more = next('}');
        }
        return true;
    }
    /// The same for the elements of an array.
    template <typename Take>
    bool elements(const Take& take) {
        if (!enter('[')) {
            return false;
        }
        bool more = !leave(']');
        while (more) {
            take();
            more = next(']');
        }
        return true;
    }
    /// The string that stands here, cut to `maxBytes` of its JSON form; nothing after taking another value.
    std::optional<QString> string(qsizetype maxBytes);
    /// True when `true` stands here. Takes the value.
    bool isTrue();
    /// Takes the value that stands here.
    void skip();
    /// The first byte of the value that stands here, such as '{' or '"'; 0 at the end.
    char peek();

    /// True when all was JSON and nothing follows the value that was taken.
    bool isDone();

  private:
    void skipBlanks();
    bool enter(char bracket);
    bool leave(char bracket);
    bool next(char bracket);
    QByteArray memberKey();
    std::optional<QByteArrayView> rawString();
    void number();
    void word(QByteArrayView text);
    void fail() { m_failed = true; }

    QByteArrayView m_bytes;
    qsizetype m_at = 0;
    int m_depth = 0;
    bool m_failed = false;
};

}  // namespace lumbro
