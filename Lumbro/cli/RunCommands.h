#pragma once

#include "LumbroCore/Failure.h"
#include "actions/formats/ActionRun.h"
#include "cli/Runner.h"

#include <QList>
#include <QString>

/// The commands over work that was sent to connected apps.
namespace lumbro::cli {

Task<int> runs(CommandContext context);
Task<int> runsShow(CommandContext context);
Task<int> runsStop(CommandContext context);
Task<int> runsOpen(CommandContext context);

/// The run that the user means: by its id, by the beginning of one id alone, or "last". Fails with a sentence
/// that says what to do.
Result<ActionRun> findRun(const QList<ActionRun>& runs, const QString& id);

}  // namespace lumbro::cli
