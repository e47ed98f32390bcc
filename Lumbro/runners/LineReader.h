#pragma once

#include <QByteArray>

#include <functional>

namespace lumbro {

/// Cuts a stream of bytes into lines as it comes. A line beyond 64 MiB is dropped, so that a program that
/// never ends its line can't fill the memory.
class LineReader {
  public:
    /// Called with each line that isn't empty, without its newline.
    using Consumer = std::function<void(const QByteArray&)>;

    explicit LineReader(Consumer onLine) : m_onLine(std::move(onLine)) {}

    void feed(const QByteArray& piece);
    /// Hands over what stands after the last newline.
    void finish();

  private:
    void append(QByteArrayView part);

    Consumer m_onLine;
    QByteArray m_line;
    bool m_tooLong = false;
};

}  // namespace lumbro
