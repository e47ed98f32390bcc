#pragma once

#include "actions/formats/ActionRun.h"
#include "actions/formats/Connector.h"
#include "cli/Output.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

/// Connectors and the work sent to them, for people and for scripts.
namespace lumbro::cli {

/// The fields of the run's file with `title` and `checkFirst`.
QJsonObject runJson(const ActionRun& run);
/// One entry of `connectors`.
QJsonObject connectorJson(const Connector& connector);

QString runTable(const Output& output, const QList<ActionRun>& runs);
QString connectorTable(const Output& output, const QList<Connector>& connectors);
/// The name of a connector's app, with what is to be done first.
QString connectorName(const Connector& connector);

/// What came of a run: its title, and a line for each thing that it made.
QString runResult(const Output& output, const ActionRun& run);
/// All of a run.
QString runText(const Output& output, const ActionRun& run);
/// What is wrong with a run that isn't done, in a sentence or two.
QString runProblem(const ActionRun& run);

}  // namespace lumbro::cli
