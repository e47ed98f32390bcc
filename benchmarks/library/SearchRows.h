#pragma once

#include <QString>
#include <QStringList>

namespace lumbro::bench {

/// Measures search over the library at `root` and prints its rows. False when something could not be run.
bool searchRows(const QString& root);

/// What this program does when it is its own child: the first search of a process, and a hundred more.
int searchChild(const QString& root, const QStringList& queries);

}  // namespace lumbro::bench
