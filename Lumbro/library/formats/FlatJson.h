#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <QVarLengthArray>

#include <optional>

namespace lumbro {

/// A JSON object of the plainest kind: no key twice, and every value a string, an array of strings, none of
/// them with an escape, or a number of digits alone. Reading it makes no tree of values, which thousands of
/// small files pay for.
class FlatJson {
  public:
    /// The value of a key; views into the bytes.
    struct Value {
        bool isArray = false;
        bool isNumber = false;
        QByteArrayView text;
        QVarLengthArray<QByteArrayView, 4> items;

        bool isString() const { return !isArray && !isNumber; }
        QString toString() const { return QString::fromUtf8(text); }
        QStringList toStrings() const;
    };

    /// Nothing when the bytes are of any other kind, whether JSON or not: QJsonDocument must then decide. The
    /// bytes must outlive the object. Any thread.
    static std::optional<FlatJson> parse(QByteArrayView bytes);

    /// The value of `key`, or null.
    const Value* find(QByteArrayView key) const;

  private:
    struct Member {
        QByteArrayView key;
        Value value;
    };

    QVarLengthArray<Member, 16> m_members;
};

}  // namespace lumbro
