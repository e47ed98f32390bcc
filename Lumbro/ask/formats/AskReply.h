#pragma once

#include "ask/formats/AskAnswer.h"
#include "ask/formats/AskLookup.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace lumbro {

/// A model's reply, taken apart. Any text gives one.
struct AskReply {
    /// What is left without the last line of sources and the last line of an action; may be empty.
    QString text;
    QStringList rawSources;
    /// Lower-case word of the application.
    std::optional<QString> action;

    bool operator==(const AskReply&) const = default;

    static AskReply parse(const QString& output);

    /// True for a line that lists sources.
    static bool isSourcesLine(QStringView line);
    /// The items of a line of sources.
    static QStringList tokens(const QString& line);
    /// The application's word when the line names one.
    static std::optional<QString> actionIn(const QString& line);
    /// The places that the items name: each once, at most 3, in their order. What names none is dropped.
    static QList<AskSource> resolve(const QStringList& tokens, const AskLookup& lookup);
};

}  // namespace lumbro
