#pragma once

#include <QString>

/// The lines with which an answer prepares a calendar event: "**Event:** …", "**When:** …" and so on.
namespace lumbro::eventLines {

/// True when the text has an event: a title, and a time that exists.
bool holdsEvent(const QString& text);
/// The text without these lines, trimmed.
QString removed(const QString& text);

}  // namespace lumbro::eventLines
