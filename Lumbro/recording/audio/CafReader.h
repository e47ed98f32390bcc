#pragma once

#include "LumbroCore/Failure.h"

#include <QFile>
#include <QString>

#include <span>

namespace lumbro {

/// Reads a track file of a capture, also one whose writer was killed: the header's length is not believed
/// when the data goes on to the end of the file. Takes any CAF of 16-bit PCM, mono, 16 kHz.
class CafReader {
  public:
    /// Reads the header. Fails with a sentence when the file is missing or of another kind.
    Result<> open(const QString& file);

    /// Number of samples in the file.
    qint64 frames() const { return m_frames; }
    /// Reads the next samples; fewer than asked for only at the end. Fails when the disk does.
    Result<size_t> read(std::span<float> samples);

  private:
    Result<> readChunks();
    Result<> readDescription(const QByteArray& body);
    qint64 realDataSize(qint64 begin, qint64 declared) const;

    mutable QFile m_file;
    QByteArray m_raw;
    bool m_described = false;
    bool m_littleEndian = true;
    qint64 m_frames = 0;
    qint64 m_position = 0;
};

}  // namespace lumbro
