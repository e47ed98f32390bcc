#pragma once

#include <QString>

namespace lumbro::bench {

/// Measures the memory of the library at `root` and passes of the Librarian over it, and prints their rows.
/// Changes the library. False when something did not work.
bool memoryRows(const QString& root);

}  // namespace lumbro::bench
