#pragma once

#include <QDate>
#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// A task out of an answer, as it is shown before it goes out.
struct ActionItem {
    /// Its place among the tasks of its text.
    int id = 0;
    /// Whose task it is; may be empty.
    QString owner;
    /// What is to be done, without the part that says when.
    QString task;
    std::optional<QDate> due;
    /// Ticked beforehand: it is the user's own.
    bool include = false;

    bool operator==(const ActionItem&) const = default;

    /// The open tasks ("- [ ] …") of any text. Days such as "Friday" count from `madeOn`, or from `today`
    /// where that is not known.
    static QList<ActionItem> parse(const QString& text, std::optional<QDate> madeOn, QDate today);
};

}  // namespace lumbro
