#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdint>
#include <cstdlib>

#include <unistd.h>

namespace lumbro::fuzz {

/// Stops the run when a promise of the reader is broken; the fuzzer keeps the input.
inline void check(bool promise) {
    if (!promise) {
        std::abort();
    }
}

inline QByteArray bytes(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)};
}

/// The input as a file in memory, gone at the end of its scope. Each has a name of its own, since some
/// readers remember files by their path.
class File {
  public:
    File(const uint8_t* data, size_t size, const QString& suffix) {
        static int count = 0;
        m_path = QStringLiteral("/dev/shm/lumbro-fuzz-%1-%2.%3").arg(getpid()).arg(++count).arg(suffix);
        QFile out(m_path);
        check(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
        out.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    ~File() { QFile::remove(m_path); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const QString& path() const { return m_path; }

  private:
    QString m_path;
};

}  // namespace lumbro::fuzz
