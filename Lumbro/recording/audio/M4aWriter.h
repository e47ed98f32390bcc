#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

#include <memory>
#include <span>

namespace lumbro {

/// Writes an `.m4a` file: AAC at 32000 bit/s, mono, 16 kHz. Not thread safe.
class M4aWriter {
  public:
    M4aWriter();
    /// Closes a file that was not finished; it is not playable then.
    ~M4aWriter();
    M4aWriter(const M4aWriter&) = delete;
    M4aWriter& operator=(const M4aWriter&) = delete;

    /// Makes the file with mode 0600. The failures of all three calls carry the system's reason.
    Result<> open(const QString& file);
    Result<> write(std::span<const float> samples);
    /// Completes the file and brings it to the disk.
    Result<> finish();

  private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
