#pragma once

#include <QString>
#include <QStringView>

namespace lumbro {

/// The text in the one form that names are compared in: composed, so that it is the same in whatever way its
/// accents were written, and in lower case.
QString comparable(const QString& name);

/// Lower case, with every run of other characters than letters and digits as one "-", none at the ends. The
/// same for both ways to write accents.
QString slugified(const QString& text);

/// Number of pieces between white space that hold at least one letter or digit.
int wordCount(QStringView text);

/// The first `count` characters as a reader counts them: no letter is cut from its accents.
QString firstCharacters(const QString& text, qsizetype count);

/// The last `count` characters, counted likewise.
QString lastCharacters(const QString& text, qsizetype count);

/// `text` without the characters of `set` at both ends.
QStringView trimmedOf(QStringView text, QStringView set);

/// `text` without blanks and tabs at both ends; newlines stay.
QStringView trimmedBlanks(QStringView text);

}  // namespace lumbro
