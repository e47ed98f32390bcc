#pragma once

#include "LumbroCore/Failure.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumbro {

/// Replaces the file at `path` whole or not at all; the new file has mode 0600. The folder must exist.
/// The failure's message names the file and the system's reason.
Result<> writeFileAtomically(const QString& path, const QByteArray& bytes);

/// The name of the file that such a write was under way for, by the name of what it leaves when its process
/// is killed. Empty for every other name.
QStringView unfinishedTarget(QStringView name);

/// The file's bytes, or nothing when it is missing, unreadable, no plain file or larger than `maxBytes`.
std::optional<QByteArray> readFile(const QString& path, qint64 maxBytes = qint64(256) * 1024 * 1024);

/// The file's text, or nothing as for `readFile` or when the bytes are not UTF-8.
std::optional<QString> readTextFile(const QString& path);

/// Makes the folder and its parents with mode 0700. True when it is there afterwards.
bool makePrivateFolder(const QString& path);

}  // namespace lumbro
