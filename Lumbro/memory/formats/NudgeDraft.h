#pragma once

#include "memory/formats/PromiseItem.h"

#include <QString>

#include <optional>

namespace lumbro {

/// A friendly mail about a promise that somebody owes the user.
struct NudgeDraft {
    std::optional<QString> recipient;
    QString subject;
    QString body;

    bool operator==(const NudgeDraft&) const = default;

    static NudgeDraft of(const PromiseItem& promise, const std::optional<QString>& recipient);
};

}  // namespace lumbro
