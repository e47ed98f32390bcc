#pragma once

#include "ask/SearchResults.h"
#include "cli/Output.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace lumbro::cli {

/// The document of `search`.
QJsonObject searchJson(const SearchResults& results);

/// The results for people: captures with their best lines, then what else was found. The terms are bold where
/// the output shows looks. At most `limit` entries of each of the others are shown, and the rest counted.
QString searchText(const Output& output, const SearchResults& results, const QStringList& terms,
                   qsizetype limit);

}  // namespace lumbro::cli
