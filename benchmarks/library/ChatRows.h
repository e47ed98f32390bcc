#pragma once

#include <QString>

namespace lumbro::bench {

/// Measures the reader of chats over the transcripts in `folder` and prints its rows. False when something
/// could not be run.
bool chatRows(const QString& folder);

/// What this program does when it is its own child: reads all transcripts once.
int chatChild(const QString& folder);

}  // namespace lumbro::bench
