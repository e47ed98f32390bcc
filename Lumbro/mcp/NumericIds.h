#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>

namespace lumbro {

/// The ids of the messages on a line that are numbers, digit for digit as they stand there, by the message's
/// place in its batch; one that is alone has place 0. `line` is one JSON object, or an array. Any thread.
QHash<qsizetype, QByteArray> numericIDs(QByteArrayView line);

}  // namespace lumbro
