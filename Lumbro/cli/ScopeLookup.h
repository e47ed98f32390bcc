#pragma once

#include "LumbroCore/Failure.h"
#include "ask/formats/AskScope.h"
#include "memory/MemoryStore.h"

#include <QString>

namespace lumbro::cli {

/// The place that the user means, with its full id: that of a capture, a person or a project may be shortened
/// as everywhere, that of a company may be in capitals and unknown. Fails with a sentence when there is none.
Result<AskScope> findScope(const QString& capturesFolder, const MemoryStore& memory, const AskScope& scope);

}  // namespace lumbro::cli
