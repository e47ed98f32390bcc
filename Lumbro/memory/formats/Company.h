#pragma once

#include "library/formats/CaptureMeta.h"
#include "memory/formats/MemoryEntity.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// A company, worked out from the addresses of the people the user meets.
struct Company {
    /// The registrable domain, which is also its id.
    QString domain;
    QString name;
    QStringList personSlugs;
    QStringList captureIDs;

    bool operator==(const Company&) const = default;

    /// Groups people and meetings by domain. Those with most meetings come first, then by name.
    static QList<Company> build(const QList<MemoryEntity>& people, const QList<CaptureRecord>& captures,
                                const std::optional<QString>& ownDomain);
};

}  // namespace lumbro
