#pragma once

#include "memory/formats/Company.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/PromiseItem.h"

#include <QList>
#include <QString>

namespace lumbro {

/// The summary of all that is known, as it is shown to the model. No newline at the end.
QString memoryIndex(const QList<MemoryEntity>& people, const QList<MemoryEntity>& projects,
                    const QList<Company>& companies, const QList<PromiseItem>& promises);

}  // namespace lumbro
