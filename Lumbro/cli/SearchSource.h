#pragma once

#include "ask/SearchResults.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

namespace lumbro::cli {

/// All that can be searched, as the files are now. What has not changed since the last time is not read
/// again.
SearchInput searchInput(ContextLibrary& library, MemoryStore& memory);

}  // namespace lumbro::cli
