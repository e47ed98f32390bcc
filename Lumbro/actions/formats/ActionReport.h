#pragma once

#include "actions/formats/ActionRun.h"

#include <QString>

#include <optional>

namespace lumbro {

/// What a run's closing RESULT line says. The model's word, to be believed no further than `finalStatus`.
struct ActionReport {
    QString status{};
    QString summary{};
    QList<ActionRun::Item> items{};
    /// An earlier RESULT line of the same output says something else.
    bool isContradicted = false;

    bool operator==(const ActionReport&) const = default;

    /// The last RESULT line of an output, markdown around it or not; nothing when there is none or it can't
    /// be read, even where an earlier one could.
    static std::optional<ActionReport> in(const QString& output);

    /// `done` only where at least one item was made, the app showed every one of them and no other RESULT
    /// line contradicts it; `failed` where the model says so; else `unconfirmed`.
    ActionRun::Status finalStatus() const;
};

}  // namespace lumbro
