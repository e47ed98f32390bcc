#pragma once

#include <QString>
#include <QStringView>

/// Text from a model, made fit for the files of the memory.
namespace lumbro::memoryText {

/// One line, without blanks at its ends and with at most `most` characters: line ends and tabs become blanks,
/// other control characters and those that turn or hide text are dropped.
QString oneLine(const QString& text, qsizetype most = 2000);
/// True when `oneLine` drops characters other than blanks and line ends, or cuts the text.
bool losesCharacters(const QString& text, qsizetype most);
/// `slugified`, cut to a length that every file system takes as a name.
QString fileSlug(const QString& name);
/// A new id: the prefix and six hexadecimal digits.
QString anchor(QStringView prefix);
/// An id for a line without one: the prefix and a number made from the line, the same in every run.
QString lineId(QStringView prefix, QStringView line);
/// The line without the anchor " ^id" at its end, which is given back through `id`. The line has no blanks at
/// its end. An id that is not there leaves `id` alone.
QStringView withoutAnchor(QStringView line, QString& id);
/// The line without blanks, tabs and a "\r" at its ends.
QStringView trimmedLine(QStringView line);

}  // namespace lumbro::memoryText
