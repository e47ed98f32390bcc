#pragma once

#include "memory/formats/WikiLink.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace lumbro {

/// A content idea: one line of `ideas.md`.
struct IdeaItem {
    /// "i-" and six hexadecimal digits; "i-line-<n>", made from the line, where the line has no anchor.
    QString id;
    QString hook;
    QString angle;
    std::optional<WikiLink> source;
    /// "yyyy-MM-dd", or empty.
    QString date;

    bool operator==(const IdeaItem&) const = default;

    /// Nothing for a line that is no bullet.
    static std::optional<IdeaItem> parse(QStringView line);
    /// The line as it is written. The hook loses every "**".
    QString line() const;
};

}  // namespace lumbro
