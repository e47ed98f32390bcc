#pragma once

#include <QString>

#include <memory>
#include <span>
#include <vector>

struct sf_private_tag;

namespace lumbro {

/// Writes the track file of a running capture: CAF, 16-bit little-endian PCM, mono, 16 kHz. Samples go to the
/// disk in blocks of half a second, each with an up-to-date header, so that a file whose writer was killed
/// plays up to its last block. Not thread safe.
class CafWriter {
  public:
    /// Makes the file with mode 0600, replacing an old one. Nothing when that fails, with errno set.
    static std::unique_ptr<CafWriter> create(const QString& file);
    /// Closes the file.
    ~CafWriter();
    CafWriter(const CafWriter&) = delete;
    CafWriter& operator=(const CafWriter&) = delete;

    /// Takes samples, clipping at full scale. False when a block could not be written; its samples are lost,
    /// the file stays whole, and later blocks are tried again. What was lost is silence in front of them, so
    /// that places in the file stay true to the time.
    [[nodiscard]] bool write(std::span<const float> samples);
    /// Writes the open block. False as for `write`.
    [[nodiscard]] bool flush();

  private:
    explicit CafWriter(sf_private_tag* file);
    size_t put(std::span<const qint16> samples);
    bool fillLost();

    sf_private_tag* m_file;
    std::vector<qint16> m_block;
    size_t m_filled = 0;
    qint64 m_written = 0;
    qint64 m_lost = 0;
};

}  // namespace lumbro
