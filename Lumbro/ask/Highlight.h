#pragma once

#include "library/formats/TranscriptSegment.h"

#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

/// What a query looks for, and how its matches are shown. Any thread.
namespace lumbro::highlight {

/// The query in lower case, split on white space, without empty pieces. All of them must match.
QStringList terms(const QString& query);

/// What a row shows of a text: all of it when it has up to 150 characters after wiki links are made plain and
/// newlines are blanks, else a piece of 140 around the earliest term, with "…" where something was left out.
QString snippet(const QString& text, const QStringList& terms);
/// The same for a text in UTF-8 without wiki links, whose earliest term begins at byte `place` (-1 for none).
QString piece(QByteArrayView text, qsizetype place);
/// The same for a text in ASCII, whose characters need not be counted.
QString asciiPiece(QByteArrayView text, qsizetype place);

/// "Me · 04:12", "Them · 75:03": whose words, and where in the recording.
QString speechLabel(Speaker speaker, double seconds);

/// The places in `text` where a term occurs, as (begin, length) in UTF-16 units, in order and joined where
/// they touch.
std::vector<std::pair<qsizetype, qsizetype>> matches(const QString& text, const QStringList& terms);

}  // namespace lumbro::highlight
