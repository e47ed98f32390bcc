#pragma once

#include "platform/TaskStore.h"

#include <QDate>
#include <QList>
#include <QString>

namespace lumbro::taskIds {

/// Gives the tasks ids that follow from what they say, their list and the day they are added: a write that
/// was given up may still come to pass, and who tries again, maybe from another process, must not get each
/// task twice. Tasks that say the same stay several. Any thread.
void set(QList<CalendarTask>& tasks, const QString& list, const QDate& today);

}  // namespace lumbro::taskIds
