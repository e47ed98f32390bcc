#pragma once

#include "platform/linux/desktop/IcalFile.h"

#include <vector>

namespace lumbro {

/// Adds every occurrence of the files that touches the time from `from` to before `to` (seconds since 1970).
/// Two rounds: each file first gets what usual ones need, so that those which repeat without end leave the
/// others their share; those that want more divide the rest. Gives the places of the files of which some were
/// left out. The thread of the files.
std::vector<size_t> addOccurrences(const std::vector<const IcalFile*>& files, qint64 from, qint64 to,
                                   std::vector<IcalOccurrence>& found);

}  // namespace lumbro
