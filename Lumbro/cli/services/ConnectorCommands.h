#pragma once

#include "LumbroCore/Failure.h"
#include "actions/formats/Connector.h"
#include "app/Services.h"
#include "cli/Runner.h"

#include <QList>
#include <QString>

namespace lumbro::cli {

/// `connectors` and `connectors refresh`: the apps that Claude Code is connected to, asked anew each time.
Task<int> connectors(CommandContext context);

/// Has Claude Code tell its connectors and waits for it. Fails with a sentence. Both must outlive the flow.
Task<Result<>> checkConnectors(Services* services, Output* output);

/// The connector that the user means: by its id, by its app's name in any case, or by a piece of one id
/// alone. Fails with a sentence that says what to do.
Result<Connector> findConnector(const QList<Connector>& all, const QString& word);

}  // namespace lumbro::cli
