#pragma once

#include "cli/Output.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace lumbro::cli {

/// Columns that the text takes on a terminal: wide characters count two, what only adds to another character
/// none, and colour codes none.
int displayWidth(const QString& text);
/// The text cut to `width` columns, at least 1, with "…" at the end when something was cut. Characters as a
/// reader counts them and colour codes are kept whole; of more than eight marks a column the rest is left
/// out.
QString fitted(const QString& text, int width);
/// The text filled with blanks to `width` columns.
QString padded(const QString& text, int width, bool toRight = false);

/// A column of a table for people.
struct Column {
    QString header;
    bool toRight = false;
    /// Cut first when the line is too long for the terminal.
    bool flexible = false;
    Look look = Look::plain;
};

/// The rows under their headers, aligned, each line ending with a newline; columns without any text are left
/// out. On a terminal the widest columns are cut until a line fits: first those that are flexible, then, when
/// these are down to 12 columns, all but numbers.
QString table(const Output& output, const QList<Column>& columns, const QList<QStringList>& rows);
/// The same for a terminal of so many columns.
QString table(const Output& output, const QList<Column>& columns, const QList<QStringList>& rows, int width);

/// "1 word", "1,234 words".
QString counted(qint64 count, const QString& one, const QString& many);
/// "3 min", "1 h 05 min", "12 s".
QString durationText(qint64 seconds);
/// "512 bytes", "3.4 MB", "1.2 GB".
QString bytesText(qint64 bytes);

}  // namespace lumbro::cli
