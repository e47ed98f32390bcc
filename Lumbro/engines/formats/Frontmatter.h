#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// Reader of the small "---" block at the top of engine, voice and thread files. Knows "key: value" lines
/// only: no nesting, no values over several lines, no escapes.
class Frontmatter {
  public:
    struct Parsed {
        /// Keys in lower case; a later line replaces an earlier one.
        QMap<QString, QString> fields;
        /// What stands below the block, or the whole text when there is none.
        QString body;
        bool found = false;

        bool operator==(const Parsed&) const = default;

        /// The value of `key`, or nothing when no line has it.
        std::optional<QString> value(const QString& key) const;
    };

    static Parsed parse(const QString& text);
    /// The items of "[a, b]" or "a, b", without quotes and empty pieces. Nothing gives none.
    static QStringList list(const std::optional<QString>& value);
    /// Pieces between all newline characters of Unicode, empty ones kept.
    static QStringList lines(const QString& text);
    /// The index in `lines` of the line that closes the block, or -1 when there is no whole block.
    static qsizetype closingFence(const QStringList& lines);
};

}  // namespace lumbro
