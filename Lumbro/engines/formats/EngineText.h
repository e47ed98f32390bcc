#pragma once

#include <QList>
#include <QString>

#include <optional>
#include <utility>

namespace lumbro {

/// A key of an engine file with its value; nothing takes the key out.
using EngineField = std::pair<QString, std::optional<QString>>;

/// An engine file's text with some fields and, when given, the prompt replaced. Lines of other keys, comments
/// and their order stay; a key without a line is added at the end of the block. A text without a whole block
/// is made anew from what is given. Line ends within a value become blanks. Pure.
QString engineText(const QString& text, const QList<EngineField>& fields,
                   const std::optional<QString>& prompt);

/// Whether a value comes back from a file as it is: not one that holds a comment or begins or ends with what
/// the reader takes off.
bool keepsInEngineText(const QString& value);

}  // namespace lumbro
