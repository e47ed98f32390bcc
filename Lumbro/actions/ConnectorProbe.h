#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/ConnectorList.h"

#include <QString>

namespace lumbro {

/// Starts the Claude Code at `executable` just to hear which servers and tools it has, and ends it before a
/// model answers. Fails with a sentence, and a line in the log, when it can't be started or says nothing
/// within 60 seconds. The clock must outlive it.
Task<Result<ConnectorInit>> probeConnectors(QString executable, Clock& clock);

}  // namespace lumbro
