#pragma once

#include "actions/formats/ActionRun.h"

#include <QString>

/// What a run says to the agent.
namespace lumbro::actionPrompt {

/// The system prompt of every run.
QString system();
/// The instruction on the command line.
QString instruction(const QString& app);
/// What is to be done with an answer of Ask, where the user says nothing else.
QString forAnswer(const QString& question, const QString& app);
/// The text for standard input.
QString input(const ActionRun& run);
/// The user's own words ask for deleting or archiving, which lifts the guard against it.
bool allowsDestructive(const QString& instruction);

}  // namespace lumbro::actionPrompt
