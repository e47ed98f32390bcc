#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

/// The one JSON writer of the library, and readers that never fail.
namespace lumbro::json {

/// Pretty printed with two blanks per level, sorted keys, UTF-8, no newline at the end. Numbers are written
/// in the shortest form that reads back the same.
QByteArray encode(const QJsonValue& value);
/// The same on one line without blanks.
QByteArray encodeCompact(const QJsonValue& value);
/// Writes an object at the end of `out` in the form of `encode`, without building a value first: for lists of
/// thousands. Keys are plain words, added in sorted order; `depth` is the object's own. Ends with its scope.
class ObjectWriter {
  public:
    ObjectWriter(QByteArray& out, int depth);
    ObjectWriter(const ObjectWriter&) = delete;
    ObjectWriter& operator=(const ObjectWriter&) = delete;
    ~ObjectWriter();

    void add(const char* key, const QString& text);
    void add(const char* key, int number);
    void add(const char* key, const QStringList& texts);

  private:
    void begin(const char* key);
    void newLine(int depth);

    QByteArray& m_out;
    int m_depth;
    bool m_isEmpty = true;
};

/// The object or array in `bytes`; empty when they hold anything else.
QJsonObject object(const QByteArray& bytes);
QJsonArray array(const QByteArray& bytes);

}  // namespace lumbro::json
