#pragma once

#include <QByteArray>

#include <optional>

namespace lumbro::cli {

/// What stands on standard input, to its end, in however many pieces it comes; of more than `most` bytes, one
/// more than that. Nothing where it can't be read. Blocks.
std::optional<QByteArray> readStandardInput(qint64 most);

}  // namespace lumbro::cli
