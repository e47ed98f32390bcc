#pragma once

#include "cli/Runner.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"

#include <QJsonObject>

/// The commands over engine and voice files.
namespace lumbro::cli {

Task<int> engines(CommandContext context);
Task<int> enginesShow(CommandContext context);
Task<int> enginesCheck(CommandContext context);
Task<int> voices(CommandContext context);

/// An entry of `engines` and of `voices`.
QJsonObject engineJson(const Engine& engine);
QJsonObject voiceJson(const Voice& voice);
/// An engine with its prompt, for people.
QString engineSheet(const Output& output, const Engine& engine);

}  // namespace lumbro::cli
