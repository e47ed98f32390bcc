#pragma once

#include <QString>

namespace lumbro {

/// Copies a file that is about to be replaced although it could not be read to "<path>.broken", or
/// ".broken-2" and so on when that holds something else. True when a copy is there.
bool keepBrokenCopy(const QString& path);

}  // namespace lumbro
