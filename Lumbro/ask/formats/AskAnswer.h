#pragma once

#include "library/formats/SidebarItem.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// A place in the library that an answer rests on. Two are the same when they point at the same place.
struct AskSource {
    QString title;
    SidebarItem item;

    bool operator==(const AskSource& other) const { return item == other.item; }
};

/// The answer to one question.
struct AskAnswer {
    QString question;
    /// The answer without its lines of sources and action.
    QString text;
    QList<AskSource> sources;
    /// Id of the thread that keeps question and answer.
    QString thread;
    /// Lower-case word of the application that the answer was prepared for.
    std::optional<QString> action;

    bool operator==(const AskAnswer&) const = default;

    /// The text to show: for an answer that holds a calendar event, without the event's lines.
    QString displayText() const;
    /// Ids of the captures among the sources, in their order.
    QStringList captureIDs() const;
};

}  // namespace lumbro
