#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// The words of a command line, quoted the way that POSIX shells do it; none when a quote is left open or the
/// line ends in a backslash.
std::optional<QStringList> shellWords(const QString& line);

}  // namespace lumbro
