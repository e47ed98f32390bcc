#pragma once

#include <QDateTime>
#include <QString>

namespace lumbro::prepTime {

/// "now", "in 5 min", "started 2 min ago": the time until a meeting starts, rounded to minutes.
QString phrase(const QDateTime& until, const QDateTime& now);

}  // namespace lumbro::prepTime
