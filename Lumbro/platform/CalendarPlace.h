#pragma once

#include <QString>

#include <memory>

namespace lumbro {

/// A calendar or list of tasks.
struct CalendarList {
    QString id{};
    QString title{};

    bool operator==(const CalendarList&) const = default;
};

/// Where an added item went.
struct AddedCalendarItem {
    QString id{};
    /// Name of the calendar or list, and of the account or place that holds it (may be empty).
    QString calendar{};
    QString account{};
    /// The file that holds it, where the store has one.
    QString path{};
    /// It was there before; nothing was written.
    bool existed = false;

    bool operator==(const AddedCalendarItem&) const = default;
};

/// The right to look for something and add it: nobody else of ours adds anything while it lives.
struct AddingTurn {
    std::shared_ptr<void> lock{};
};

}  // namespace lumbro
