#pragma once

#include "ask/SearchResults.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <QStringList>

namespace lumbro::cli {

/// All that can be searched, as the files are now. What has not changed since the last time is not read
/// again. `unreadable` gets the paths of conversations that can't be read.
SearchInput searchInput(ContextLibrary& library, MemoryStore& memory, QStringList* unreadable = nullptr);

}  // namespace lumbro::cli
