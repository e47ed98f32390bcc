#include "LumbroCore/Json.h"

#include "LumbroCore/Literals.h"

#include <QJsonDocument>
#include <QLocale>

#include <cmath>

namespace lumbro::json {

namespace {

void writeString(QByteArray& out, const QString& text) {
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
                    out += "\\u00" + QByteArray(1, c).toHex();
                } else {
                    out += c;
                }
        }
    }
    out += '"';
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
        m_out += i > 0 ? "," : "";
        newLine(m_depth + 2);
        writeString(m_out, texts.at(i));
    }
    if (!texts.isEmpty()) {
        newLine(m_depth + 1);
    }
    m_out += ']';
}

void ObjectWriter::begin(const char* key) {
    m_out += std::exchange(m_isEmpty, false) ? "" : ",";
    newLine(m_depth + 1);
    m_out += '"';
    m_out += key;
    m_out += "\": ";
}

void ObjectWriter::newLine(int depth) {
    m_out += '\n';
    m_out.append(qsizetype(2) * depth, ' ');
}

QJsonObject object(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).object();
}

QJsonArray array(const QByteArray& bytes) {
    return QJsonDocument::fromJson(bytes).array();
}

}  // namespace lumbro::json
