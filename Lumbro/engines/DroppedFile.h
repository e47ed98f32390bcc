#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

#include <optional>

namespace lumbro {

/// What is in a file that was dropped, however large it is.
struct DroppedFile {
    /// SHA-256 of the bytes in lower-case hex.
    QString hash;
    /// Its first characters; nothing when the file is not UTF-8 text as a whole, or holds a zero byte.
    std::optional<QString> text;
    /// How many bytes were read.
    qint64 bytes = 0;

    bool operator==(const DroppedFile&) const = default;

    static constexpr qsizetype mostCharacters = 200'000;

    /// Reads the file once, in pieces. Fails with the system's reason, and for anything but a plain file. Any
    /// thread; takes seconds for each gigabyte.
    static Result<DroppedFile> read(const QString& path);
};

}  // namespace lumbro
