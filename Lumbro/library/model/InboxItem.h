#pragma once

#include "library/model/PillMode.h"

#include <QString>

#include <variant>

namespace lumbro {

namespace inbox {

/// A finished capture whose engines are still to be chosen.
struct Handoff {
    QString captureID;
    bool operator==(const Handoff&) const = default;
};
/// An engine's result that nobody has looked at.
struct Result {
    QString engineID;
    QString captureID;
    bool operator==(const Result&) const = default;
};

}  // namespace inbox

/// Something that finished while the user was busy; it can be opened again from the pill.
using InboxItem = std::variant<inbox::Handoff, inbox::Result, pill::Answer, pill::Prep, pill::Ideas,
                               pill::Promises, pill::Action>;

/// What the item is about: of two items with one id the newer one replaces the older.
QString inboxID(const InboxItem& item);

}  // namespace lumbro
