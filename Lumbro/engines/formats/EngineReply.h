#pragma once

#include "engines/formats/EngineDraft.h"

#include <QString>

#include <expected>

/// An engine that an agent has written.
namespace lumbro::engineReply {

/// What the agent is told; its answer is for `draft`.
QString systemPrompt();

/// The engine in the agent's answer, put onto an untouched draft. Of its fields only those are taken that say
/// what the engine is: whether it runs by itself, watches a folder or uses tools is for the user. Any text;
/// on a failure the words of the engine's reader.
std::expected<EngineDraft, Engine::LoadError> draft(const QString& reply, const EngineDraft& blank);

}  // namespace lumbro::engineReply
