#pragma once

#include "LumbroCore/Failure.h"
#include "ask/formats/AskThread.h"
#include "cli/Runner.h"

#include <QList>
#include <QString>

/// The commands over conversations that need no agent.
namespace lumbro::cli {

Task<int> asks(CommandContext context);
Task<int> asksShow(CommandContext context);
Task<int> asksDelete(CommandContext context);

/// The conversation that the user means: by its id, by the beginning of one id alone, or "last" for the first
/// of the list. Fails with a sentence that says what to do.
Result<AskThread> findThread(const QList<AskThread>& threads, const QString& id);

}  // namespace lumbro::cli
