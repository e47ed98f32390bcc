#pragma once

#include "cli/Output.h"
#include "library/formats/CaptureMeta.h"
#include "memory/formats/Company.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/PromiseSides.h"

#include <QDate>
#include <QList>
#include <QString>

namespace lumbro::cli {

/// Lists of the memory for people, each line ending with a newline.
QString pageTable(const Output& output, const QList<MemoryEntity>& pages);
QString companyTable(const Output& output, const QList<Company>& companies);
QString ideaTable(const Output& output, const QList<IdeaItem>& ideas);

/// What a person's page shows beside its own text.
struct PageContext {
    QList<PromiseItem> promises;
    QList<CaptureRecord> captures;
};
/// One page.
QString pageText(const Output& output, const MemoryEntity& page, const PageContext& around, QDate today);

/// One side of the promises, under its title and the headings of their urgencies; done ones too when
/// `withDone` is set.
QString promiseText(const Output& output, PromiseSide side, const PromiseGroups& groups, bool withDone,
                    QDate today);

}  // namespace lumbro::cli
