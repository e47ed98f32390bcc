#pragma once

#include "meetings/formats/PrepEvent.h"

#include <QDateTime>
#include <QList>
#include <QString>

namespace lumbro {

/// The status item's title: today's next or current event with the time until it starts; empty without one.
/// A blank stands before it, as it follows the symbol.
QString statusText(const QList<PrepEvent>& events, const QDateTime& now);

}  // namespace lumbro
