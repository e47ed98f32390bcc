#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>

/// Reader and writer of `seen.txt`: which contents an engine has worked on, and in which run.
namespace lumbro::inboxSeen {

/// SHA-256 of a content in lower-case hex to the name of its run's folder. Lines that are none of ours are
/// passed over; the last of equal hashes counts.
QMap<QString, QString> parse(const QByteArray& bytes);

/// The file's bytes with one more line. Nothing when the line could not be read back.
std::optional<QByteArray> with(const QByteArray& bytes, const QString& hash, const QString& run);

}  // namespace lumbro::inboxSeen
