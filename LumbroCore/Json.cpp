#include "LumbroCore/Json.h"

#include "LumbroCore/Literals.h"

#include <QJsonDocument>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace lumbro::json {

namespace {

/// What a character that is not plain becomes in a string.
QByteArray escaped(char c) {
    switch (c) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return "\\u00" + QByteArray(1, c).toHex();
    }
}

bool isPlain(char c) {
    return c != '"' && c != '\\' && c != 0x7f && static_cast<unsigned char>(c) >= 0x20;
}

constexpr qsizetype byteOrderMarkBytes = 3;

void writeAnyString(QByteArray& out, const QString& text) {
    QByteArray utf8 = text.toUtf8();
    out += '"';
    // Qt's parser takes an unescaped byte order mark away from the beginning of a string.
    if (text.startsWith(QChar::ByteOrderMark)) {
        out += "\\ufeff";
        utf8.remove(0, byteOrderMarkBytes);
    }
    for (auto at = utf8.begin(); at != utf8.end();) {
        const auto end = std::find_if_not(at, utf8.end(), isPlain);
        out += QByteArrayView(at, end);
        at = end;
        if (at != utf8.end()) {
            out += escaped(*at++);
        }
    }
    out += '"';
}

/// Room for `count` more bytes at the end of `out`, to be filled at once: appending piece by piece costs more
/// than the pieces.
char* grow(QByteArray& out, qsizetype count) {
    const qsizetype end = out.size();
    out.resize(end + count);
    return out.data() + end;
}

void writeString(QByteArray& out, const QString& text) {
    const qsizetype begin = out.size();
    char* at = grow(out, text.size() + 2);
    *at++ = '"';
    for (const QChar c : text) {
        if (c.unicode() > 0x7f || !isPlain(c.toLatin1())) {
            out.truncate(begin);
            writeAnyString(out, text);
            return;
        }
        *at++ = c.toLatin1();
    }
    *at = '"';
}

void writeNumber(QByteArray& out, const QJsonValue& value) {
    const double number = value.toDouble();
    constexpr double exactIntegers = 9007199254740992.0;
    if (std::trunc(number) == number && std::abs(number) < exactIntegers) {
        out += QByteArray::number(static_cast<qint64>(number));
    } else {
        out += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    }
}

class Writer {
  public:
    explicit Writer(bool pretty) : m_pretty(pretty) {}

    void write(const QJsonValue& value, int depth) {
        switch (value.type()) {
            case QJsonValue::Object:
                writeObject(value.toObject(), depth);
                break;
            case QJsonValue::Array:
                writeArray(value.toArray(), depth);
                break;
            case QJsonValue::String:
                writeString(m_out, value.toString());
                break;
            case QJsonValue::Double:
                writeNumber(m_out, value);
                break;
            case QJsonValue::Bool:
                m_out += value.toBool() ? "true" : "false";
                break;
            default:
                m_out += "null";
        }
    }
    QByteArray take() { return std::move(m_out); }

  private:
    void newLine(int depth) {
        if (m_pretty) {
            m_out += '\n';
            m_out.append(qsizetype(2) * depth, ' ');
        }
    }
    // Qt keeps an object's keys sorted.
    void writeObject(const QJsonObject& object, int depth) {
        m_out += '{';
        bool first = true;
        for (auto it = object.begin(); it != object.end(); ++it) {
            m_out += std::exchange(first, false) ? "" : ",";
            newLine(depth + 1);
            writeString(m_out, it.key());
            m_out += m_pretty ? ": " : ":";
            write(it.value(), depth + 1);
        }
        if (!first) {
            newLine(depth);
        }
        m_out += '}';
    }
    void writeArray(const QJsonArray& array, int depth) {
        m_out += '[';
        bool first = true;
        for (const auto& value : array) {
            m_out += std::exchange(first, false) ? "" : ",";
            newLine(depth + 1);
            write(value, depth + 1);
        }
        if (!first) {
            newLine(depth);
        }
        m_out += ']';
    }

    bool m_pretty;
    QByteArray m_out;
};

QByteArray encoded(const QJsonValue& value, bool pretty) {
    Writer writer(pretty);
    writer.write(value, 0);
    return writer.take();
}

}  // namespace

QByteArray encode(const QJsonValue& value) {
    return encoded(value, true);
}

QByteArray encodeCompact(const QJsonValue& value) {
    return encoded(value, false);
}

ObjectWriter::ObjectWriter(QByteArray& out, int depth) : m_out(out), m_depth(depth) {
    m_out += '{';
}

ObjectWriter::~ObjectWriter() {
    if (!m_isEmpty) {
        newLine(m_depth);
    }
    m_out += '}';
}

void ObjectWriter::add(const char* key, const QString& text) {
    begin(key);
    writeString(m_out, text);
}

void ObjectWriter::add(const char* key, int number) {
    begin(key);
    m_out += QByteArray::number(number);
}

void ObjectWriter::add(const char* key, const QStringList& texts) {
    begin(key);
    m_out += '[';
    for (qsizetype i = 0; i < texts.size(); ++i) {
        if (i > 0) {
            m_out += ',';
        }
        newLine(m_depth + 2);
        writeString(m_out, texts.at(i));
    }
    if (!texts.isEmpty()) {
        newLine(m_depth + 1);
    }
    m_out += ']';
}

void ObjectWriter::begin(const char* key) {
    if (!std::exchange(m_isEmpty, false)) {
        m_out += ',';
    }
    newLine(m_depth + 1);
    const size_t length = std::strlen(key);
    char* at = grow(m_out, static_cast<qsizetype>(length) + 4);
    *at++ = '"';
    at = std::copy_n(key, length, at);
    std::copy_n("\": ", 3, at);
}

void ObjectWriter::newLine(int depth) {
    char* at = grow(m_out, 1 + qsizetype(2) * depth);
    *at++ = '\n';
    std::fill_n(at, 2 * depth, ' ');
}

QJsonObject object(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).object();
}

QJsonArray array(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).array();
}

}  // namespace lumbro::json
