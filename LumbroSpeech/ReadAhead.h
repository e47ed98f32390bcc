#pragma once

#include <QString>

namespace lumbro::speech {

/// Asks the system to have a file's bytes in its cache soon. Does nothing when there is no such file. Any
/// thread.
void readFileAhead(const QString& path);

}  // namespace lumbro::speech
