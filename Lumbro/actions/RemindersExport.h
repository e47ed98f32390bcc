#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/ActionItem.h"
#include "library/formats/CaptureMeta.h"
#include "platform/TaskStore.h"

#include <QList>
#include <QString>

/// The way of tasks into the user's lists. Main thread; the store must outlive what is awaited.
namespace lumbro::remindersExport {

/// Adds all items to the list "Lumbro", which is made where it is missing, or none of them. Asks for access
/// where that is needed. Fails with a sentence for the user.
Task<Result<QList<AddedCalendarItem>>> add(TaskStore* store, QList<ActionItem> items, QString note);

/// The note of tasks that come from a capture.
QString note(const CaptureMeta& capture);

}  // namespace lumbro::remindersExport
